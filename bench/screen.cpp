// SPDX-License-Identifier: Apache-2.0
// What the screen shows of the tiles, measured against the best that it could show: the real window on an X
// server of its own, four pictures of fine texture (letters, lines of one px, noise), 2560 x 1440 px each,
// corrected and joined. The screen is read back from the X server and compared with the exact mean of the
// composite over each of its pixels.
//
//   bench_screen                   everything
//   bench_screen --quick           what tools/check-bench looks at
//   bench_screen --pictures FOLDER also saves what the screen shows, as PNG files
//   bench_screen --lettering FILE  only this: letters and lines at Zoom Fit, by the nearest pixel of the
//                                  pictures and as the screen shows them, for the documents
//
// "PSNR" counts all screen pixels whose centre lies in a picture; "bare" is that of a bare QGraphicsView with
// four pixmaps and smooth transformation at the same scale. "seam" are the screen pixels within 1 px of where
// two tiles join, "else" all others: the mean and the largest difference from the exact mean, grey levels.
// From scale 1 on the pixels have to be those of the pictures: the others are counted. "shimmer": a line of 1
// frame px moves by quarters of one; how much its brightness on screen varies meanwhile.

#include <QApplication>
#include <QCryptographicHash>
#include <QPainter>
#include <QScreen>
#include <QScrollBar>
#include <cmath>
#include <cstdio>
#include <opencv2/imgproc.hpp>
#include <random>

#include "bareview.h"
#include "calibration/calibrationfile.h"
#include "exactscreen.h"
#include "livemeasure.h"
#include "support/mainwindowtest.h"
#include "support/xserver.h"

namespace {

constexpr double kSeamX = 2320;  // scene px
constexpr double kSeamY = 1300;
constexpr int kCell = 160;  // frame px, of each kind of texture

cv::Scalar inkOf(std::mt19937& random, int low, int high, bool inColour) {
    std::uniform_int_distribution<int> level(low, high);
    const int grey = level(random);
    return inColour ? cv::Scalar(level(random), level(random), level(random)) : cv::Scalar(grey, grey, grey);
}

void drawLetters(cv::Mat& cell, std::mt19937& random, const cv::Scalar& ink) {
    std::uniform_int_distribution<int> letter('!', 'z');
    for (int y = 12; y < cell.rows; y += 14) {
        std::string text;
        for (int i = 0; i < 20; ++i)
            text += static_cast<char>(letter(random));
        cv::putText(cell, text, {2, y}, cv::FONT_HERSHEY_SIMPLEX, 0.4, ink, 1, cv::LINE_8);
    }
}

void drawNoise(cv::Mat& cell, std::mt19937& random, bool inColour) {
    std::uniform_int_distribution<int> level(0, 255);
    for (int y = 0; y < cell.rows; ++y) {
        for (int x = 0; x < cell.cols; ++x) {
            const auto grey = static_cast<uchar>(level(random));
            auto& pixel = cell.at<cv::Vec3b>(y, x);
            pixel = {grey, grey, grey};
            if (inColour)
                pixel = {grey, static_cast<uchar>(level(random)), static_cast<uchar>(level(random))};
        }
    }
}

/// A frame of fine texture, RGB; the same for the same tile in every run.
cv::Mat texture(int tile, bool inColour) {
    std::mt19937 random(static_cast<unsigned>(100 + tile));
    cv::Mat frame(kFrame.height(), kFrame.width(), CV_8UC3);
    int kind = tile;
    for (int top = 0; top < frame.rows; top += kCell) {
        for (int left = 0; left < frame.cols; left += kCell, ++kind) {
            cv::Mat cell = frame(cv::Rect(left, top, kCell, kCell) & cv::Rect(0, 0, frame.cols, frame.rows));
            cell = inkOf(random, 180, 255, inColour);
            const cv::Scalar ink = inkOf(random, 0, 70, inColour);
            const int period = 2 + kind % 5;
            switch (kind % 5) {
                case 0:
                    drawLetters(cell, random, ink);
                    break;
                case 1:
                    for (int x = 0; x < cell.cols; x += period)
                        cv::line(cell, {x, 0}, {x, cell.rows}, ink);
                    break;
                case 2:
                    for (int y = 0; y < cell.rows; y += period)
                        cv::line(cell, {0, y}, {cell.cols, y}, ink);
                    break;
                case 3:
                    for (int i = 0; i < 40; ++i) {
                        std::uniform_int_distribution<int> place(0, kCell);
                        const cv::Point from(place(random), place(random));
                        cv::line(cell, from, {place(random), place(random)}, ink);
                    }
                    break;
                default:
                    drawNoise(cell, random, inColour);
                    break;
            }
        }
    }
    return frame;
}

/// A frame of one grey with a line of 1 px whose edge lies at `place` (frame px), upright or level.
cv::Mat lineAt(double place, bool isUpright) {
    cv::Mat frame(kFrame.height(), kFrame.width(), CV_8UC3, cv::Scalar::all(40));
    const int first = static_cast<int>(std::floor(place));
    const double second = place - first;  // the share that lies in the next row or column
    const auto draw = [&](int at, double share) {
        (isUpright ? frame.col(at) : frame.row(at)) = cv::Scalar::all(std::round(40 + 200 * share));
    };
    draw(first, 1 - second);
    draw(first + 1, second);
    return frame;
}

/// How much values vary: their standard deviation, in per cent of their mean.
double variation(const std::vector<double>& values) {
    double sum = 0;
    double squares = 0;
    for (const double value : values) {
        sum += value;
        squares += value * value;
    }
    const double mean = sum / double(values.size());
    return mean > 0 ? std::sqrt(std::max(0.0, squares / double(values.size()) - mean * mean)) / mean * 100
                    : 0;
}

class Screen {
public:
    bool start() {
        if (!WorkingFolder::write(QStringLiteral("setting.ini"),
                                  "[Camera]\nCamNum=4\nMode=0\n[File]\nLang=1\nType=1\nTrans=1\n[Pos]\nX1="
                                  "2320\nY2=1300\nX3=2320\n"
                                  "Y3=1300\nX0=0\nY0=0\nX2=0\nY1=0\n"))
            return false;
        std::vector<Calibration> calibrations;
        for (int i = 0; i < kCameras; ++i)
            calibrations.push_back(calibrationOf(i));
        if (!writeCalibrations(calibrations).isEmpty())
            return false;
        window.start();
        (void)QTest::qWaitFor([&] { return window->isMaximized() && window.view()->width() > 1800; }, kWait);
        for (int i = 0; i < kCameras; ++i)
            send(i, cv::Mat(kFrame.height(), kFrame.width(), CV_8UC3, cv::Scalar::all(90)), false);
        if (!window.waitForTiles(kCameras))
            return false;
        for (const auto* tile : window.tiles()) {
            if (tile->pixmap().size() != QSize(int(kSeamX), int(kSeamY)))
                return false;  // then they would not join
        }
        settle();
        return true;
    }

    /// `frame`: RGB.
    void send(int tile, const cv::Mat& frame, bool inColour) const {
        const size_t bytes = frame.total() * (inColour ? 3 : 1);
        auto* buffer = new unsigned char[bytes];
        cv::Mat packed(frame.size(), inColour ? CV_8UC3 : CV_8UC1, buffer);
        if (inColour)
            frame.copyTo(packed);
        else
            cv::extractChannel(frame, packed, 0);
        const QImage image(buffer, frame.cols, frame.rows, frame.cols * (inColour ? 3 : 1),
                           inColour ? QImage::Format_RGB888 : QImage::Format_Grayscale8);
        window->process(tile, image, buffer, quint64(now()));
    }

    void sendTextures(bool inColour) const {
        for (int i = 0; i < kCameras; ++i)
            send(i, texture(i, inColour), inColour);
    }

    /// What an area of the screen shows when it does not change any more.
    static QImage shown(const QWidget* area) {
        QImage last;
        for (int i = 0; i < 100; ++i) {
            QTest::qWait(60);
            const QPoint place = area->mapToGlobal(QPoint());
            const QImage picture = QGuiApplication::primaryScreen()
                                       ->grabWindow(0, place.x(), place.y(), area->width(), area->height())
                                       .toImage()
                                       .convertToFormat(QImage::Format_RGB32);
            if (picture == last)
                break;
            last = picture;
        }
        return last;
    }
    QImage shown() const { return shown(view()->viewport()); }
    void settle() const { shown(); }

    QGraphicsView* view() const { return window.view(); }
    void press(const char* action, int times = 1) const {
        for (int i = 0; i < times; ++i)
            window.action(action)->trigger();
    }

    /// The tiles as they lie in the scene, lower ones first.
    QVector<PlacedPicture> pictures() const {
        QVector<PlacedPicture> result;
        const auto items = view()->scene()->items(Qt::AscendingOrder);
        for (QGraphicsItem* item : items) {
            if (auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item))
                result.append({tile->pixmap().toImage(), tile->pos()});
        }
        return result;
    }

    WindowUnderTest window;
};

/// PSNR of a bare view of the same pictures at the same scale.
double bareDecibels(const Screen& screen) {
    QGraphicsScene scene;
    const auto pictures = screen.pictures();
    for (const PlacedPicture& picture : pictures)
        addSmoothly(scene, QPixmap::fromImage(picture.image), picture.place);
    scene.setSceneRect(screen.view()->sceneRect());
    BareView bare(&scene);
    bare.resize(screen.view()->size());
    bare.setTransform(screen.view()->transform());
    bare.show();
    (void)QTest::qWaitForWindowExposed(&bare);
    bare.horizontalScrollBar()->setValue(screen.view()->horizontalScrollBar()->value());
    bare.verticalScrollBar()->setValue(screen.view()->verticalScrollBar()->value());
    const QImage shown = Screen::shown(bare.viewport());
    const ExactScreen exact(pictures, bare.viewportTransform(), shown.size());
    return differenceOf(exact, shown).decibels;
}

void compare(const Screen& screen, const QString& title, bool withBare, const QString& folder) {
    const QImage shown = screen.shown();
    if (!folder.isEmpty())
        shown.save(QStringLiteral("%1/%2.png")
                       .arg(folder, QString(title).replace(QLatin1Char(' '), QLatin1Char('-'))));
    const QTransform toScreen = screen.view()->viewportTransform();
    const ExactScreen exact(screen.pictures(), toScreen, shown.size());
    const QPointF seam = toScreen.map(QPointF(kSeamX, kSeamY));
    const auto isSeam = [&](int x, int y) {
        return std::abs(x + 0.5 - seam.x()) <= 1 || std::abs(y + 0.5 - seam.y()) <= 1;
    };
    const Difference all = differenceOf(exact, shown);
    const Difference atSeam = differenceOf(exact, shown, isSeam);
    const Difference others = differenceOf(exact, shown, [&](int x, int y) { return !isSeam(x, y); });
    std::printf("%-34s scale %.4f  PSNR %5.1f dB", qPrintable(title), toScreen.m11(), all.decibels);
    if (withBare)
        std::printf("  bare %5.1f dB", bareDecibels(screen));
    else
        std::printf("               ");
    std::printf("  seam mean %6.2f worst %5.1f (%d px)  else mean %6.2f worst %5.1f\n", atSeam.mean,
                atSeam.worst, atSeam.pixels, others.mean, others.worst);
    std::fflush(stdout);
}

/// From scale 1 on: how many screen pixels are not the picture's under their centre.
void countOthers(const Screen& screen, const QString& title) {
    const QImage shown = screen.shown();
    const QTransform toScene = screen.view()->viewportTransform().inverted();
    const auto pictures = screen.pictures();
    int pixels = 0;
    int others = 0;
    for (int y = 0; y < shown.height(); ++y) {
        for (int x = 0; x < shown.width(); ++x) {
            const QPointF place = toScene.map(QPointF(x + 0.5, y + 0.5));
            for (int i = pictures.size() - 1; i >= 0; --i) {
                const QPointF in = place - pictures[i].place;
                const QPoint pixel(int(std::floor(in.x())), int(std::floor(in.y())));
                if (!pictures[i].image.rect().contains(pixel))
                    continue;
                ++pixels;
                if ((pictures[i].image.pixel(pixel) & RGB_MASK) != (shown.pixel(x, y) & RGB_MASK))
                    ++others;
                break;
            }
        }
    }
    std::printf("%-34s scale %.4f  %d of %d px are not the picture's own\n", qPrintable(title),
                screen.view()->transform().m11(), others, pixels);
    std::fflush(stdout);
}

void runTextures(Screen& screen, bool inColour, bool isQuick, const QString& folder) {
    const QString kind = inColour ? QStringLiteral("colour") : QStringLiteral("grey");
    const auto row = [&](const char* title) {
        return QStringLiteral("%1, %2").arg(kind, QLatin1String(title));
    };
    screen.sendTextures(inColour);
    screen.press("actionZoom_Fit");
    compare(screen, row("Zoom Fit"), true, folder);
    if (!isQuick) {
        screen.press("actionZoom_In");
        compare(screen, row("one Zoom In"), false, folder);
        screen.press("actionZoom_In");
        compare(screen, row("two Zoom In"), true, folder);
        screen.press("actionZoom_In");
        compare(screen, row("three Zoom In"), false, folder);
        screen.press("actionZoom_Fit");
        screen.press("actionZoom_Out");
        compare(screen, row("one Zoom Out"), false, folder);
    }
    screen.press("actionZoom_Fit");
    screen.press("actionZoom_In", 2);
    screen.view()->horizontalScrollBar()->setValue(screen.view()->horizontalScrollBar()->minimum() + 137);
    screen.view()->verticalScrollBar()->setValue(screen.view()->verticalScrollBar()->minimum() + 71);
    compare(screen, row("two Zoom In, scrolled"), false, folder);
    if (!isQuick) {
        screen.press("actionZoom_Fit");
        const auto tiles = screen.window.tiles();
        QGraphicsPixmapItem* tile = tiles.last();
        const QPointF place = tile->pos();
        tile->setPos(place + QPointF(-7.4, 5.7));
        compare(screen, row("a tile dragged"), false, folder);
        tile->setPos(place);
    }
    for (const double scale : {1.0, 1.331, 2.0}) {
        screen.press("actionReset");
        screen.view()->scale(scale, scale);
        screen.view()->centerOn(kSeamX + 11, kSeamY - 7);
        countOthers(screen, row("at the pictures' own pixels"));
    }
    screen.press("actionZoom_Fit");
}

/// A line that moves over tile 0: how much its brightness on screen varies, as a whole and in each row
/// (upright line) or column (level line) of the screen, beside the exact mean of the same pictures.
void runShimmer(Screen& screen, bool isUpright) {
    constexpr int kSteps = 16;
    constexpr double kBegin = 700;  // frame px
    constexpr int kAround = 14;     // screen px
    screen.press("actionZoom_Fit");
    std::vector<double> whole;
    std::vector<double> exactWhole;
    std::vector<std::vector<double>> lines;
    std::vector<std::vector<double>> exactLines;
    for (int step = 0; step < kSteps; ++step) {
        screen.send(0, lineAt(kBegin + step / 4.0, isUpright), false);
        const QImage shown = screen.shown();
        const QTransform toScreen = screen.view()->viewportTransform();
        const ExactScreen exact(screen.pictures(), toScreen, shown.size());
        // All of the tile but for its edges, where the line begins and ends.
        const QRect tile = toScreen.mapRect(QRectF(0, 0, kSeamX, kSeamY))
                               .toAlignedRect()
                               .adjusted(kAround, kAround, -kAround, -kAround);
        const int count = isUpright ? tile.height() : tile.width();
        std::vector<double> sums(static_cast<size_t>(count));
        std::vector<double> exactSums(static_cast<size_t>(count));
        for (int y = tile.top(); y <= tile.bottom(); ++y) {
            for (int x = tile.left(); x <= tile.right(); ++x) {
                const auto at = static_cast<size_t>(isUpright ? y - tile.top() : x - tile.left());
                sums[at] += qRed(shown.pixel(x, y)) - 40;
                exactSums[at] += exact.mean(x, y, 0) - 40;
            }
        }
        lines.resize(sums.size());
        exactLines.resize(sums.size());
        whole.push_back(0);
        exactWhole.push_back(0);
        for (size_t i = 0; i < sums.size(); ++i) {
            whole.back() += sums[i];
            exactWhole.back() += exactSums[i];
            lines[i].push_back(sums[i]);
            exactLines[i].push_back(exactSums[i]);
        }
    }
    const auto ofLines = [](const std::vector<std::vector<double>>& values) {
        double squares = 0;
        for (const auto& line : values)
            squares += std::pow(variation(line), 2);
        return std::sqrt(squares / double(values.size()));
    };
    std::printf("shimmer, %-25s whole line %5.1f %% (exact mean %4.1f)  each %s of it %6.1f %% (%4.1f)\n",
                isUpright ? "an upright line" : "a level line", variation(whole), variation(exactWhole),
                isUpright ? "row" : "column", ofLines(lines), ofLines(exactLines));
    std::fflush(stdout);
}

/// Marks over tiles of one grey: a hash of the screen, to compare two builds by.
void runMarks(Screen& screen, const QString& folder) {
    for (int i = 0; i < kCameras; ++i)
        screen.send(i, cv::Mat(kFrame.height(), kFrame.width(), CV_8UC3, cv::Scalar::all(90)), false);
    WorkingFolder::write(QStringLiteral("mark0.txt"),
                         "Line #ff0000 1 1 | 500 500 3500 1500\r\n"
                         "Circle #ffff00 1 1 | 1200 900 1600.125 940 1800.57 1300\r\n"
                         "Rectangle #0000ff 1 1 -12.5 | 2120 1100 2860 1900\r\n"
                         "Ellipse #00ff00 1 0 30 | 3100 500 4000 900\r\n");
    screen.press("actionLoad_Corner");
    int marks = 0;
    const auto items = screen.view()->scene()->items();
    for (QGraphicsItem* item : items)
        marks += qgraphicsitem_cast<QGraphicsPixmapItem*>(item) ? 0 : 1;
    const auto print = [&](const char* title) {
        const QImage shown = screen.shown();
        if (!folder.isEmpty())
            shown.save(QStringLiteral("%1/%2.png").arg(folder, QLatin1String(title)));
        const auto bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(shown.constBits()),
                                                   int(shown.sizeInBytes()));
        std::printf("%-34s scale %.4f  %d marks, the screen's hash %s\n", title,
                    screen.view()->transform().m11(), marks,
                    QCryptographicHash::hash(bytes, QCryptographicHash::Sha1).toHex().left(12).constData());
        std::fflush(stdout);
    };
    screen.press("actionZoom_Fit");
    print("marks, Zoom Fit");
    screen.press("actionZoom_In", 2);
    print("marks, two Zoom In");
    screen.press("actionReset");
    print("marks, scale 1");
}

/// A frame of letters, rings and lines of 1 and 2 px.
cv::Mat lettering() {
    cv::Mat frame(kFrame.height(), kFrame.width(), CV_8UC3, cv::Scalar::all(215));
    const cv::Scalar ink = cv::Scalar::all(30);
    const double sizes[] = {1.6, 1.2, 0.9, 0.7};
    int y = 190;
    for (const double size : sizes) {
        cv::putText(frame, "Scale 0.37: 2.5 mm x 180 g/h", {170, y}, cv::FONT_HERSHEY_SIMPLEX, size, ink,
                    size > 1 ? 2 : 1, cv::LINE_AA);
        y += int(50 * size) + 10;
    }
    for (int i = 0; i < 24; ++i) {
        cv::line(frame, {180 + 13 * i, 430}, {180 + 13 * i, 620}, ink, 1);
        cv::line(frame, {540, 430 + 8 * i}, {730, 430 + 3 * i}, ink, 1, cv::LINE_AA);
    }
    for (int radius = 8; radius < 96; radius += 8)
        cv::circle(frame, {850, 525}, radius, ink, 2, cv::LINE_AA);
    return frame;
}

/// A piece of the screen at Zoom Fit: by the nearest pixel on the left, as it is shown on the right.
int saveLettering(Screen& screen, const QString& path) {
    constexpr int kBetween = 12;  // screen px
    const QRect piece(158, 48, 320, 192);
    for (int i = 0; i < kCameras; ++i)
        screen.send(i, lettering(), false);
    screen.press("actionZoom_Fit");
    const QImage shown = screen.shown();
    QImage nearest(shown.size(), QImage::Format_RGB32);
    QPainter painter(&nearest);
    painter.setTransform(screen.view()->viewportTransform());
    for (const PlacedPicture& picture : screen.pictures())
        painter.drawImage(picture.place, picture.image);
    painter.end();
    QImage both(2 * piece.width() + kBetween, piece.height(), QImage::Format_RGB32);
    both.fill(Qt::white);
    painter.begin(&both);
    painter.drawImage(QPoint(0, 0), nearest, piece);
    painter.drawImage(QPoint(piece.width() + kBetween, 0), shown, piece);
    painter.end();
    if (both.convertToFormat(QImage::Format_Grayscale8).save(path, nullptr, 0))
        return 0;
    qCritical("%s is not written", qPrintable(path));
    return 1;
}

int run(const QByteArray& what, const QString& path) {
    Screen screen;
    if (!screen.start()) {
        qCritical("the window does not show four tiles that join");
        return 1;
    }
    if (what == "lettering")
        return saveLettering(screen, path);
    const bool isQuick = what == "quick";
    const QString& folder = path;
    runTextures(screen, false, isQuick, folder);
    runTextures(screen, true, isQuick, folder);
    for (int i = 0; i < kCameras; ++i)
        screen.send(i, cv::Mat(kFrame.height(), kFrame.width(), CV_8UC3, cv::Scalar::all(40)), false);
    runShimmer(screen, true);
    if (!isQuick)
        runShimmer(screen, false);
    runMarks(screen, folder);
    return 0;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc == 4 && qstrcmp(argv[1], "--run") == 0) {
        QApplication application(argc, argv);
        return run(argv[2], QString::fromLocal8Bit(argv[3]));
    }
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    const auto pathBehind = [&](const char* option) {
        const int at = arguments.indexOf(QLatin1String(option));
        const QString path = at > 0 ? arguments.value(at + 1) : QString();
        return path.isEmpty() ? QString() : QDir(path).absolutePath();
    };
    const QString folder = pathBehind("--pictures");
    const QString letters = pathBehind("--lettering");
    if (!folder.isEmpty())
        QDir().mkpath(folder);
    QString what = QStringLiteral("all");
    if (!letters.isEmpty())
        what = QStringLiteral("lettering");
    else if (arguments.contains(QStringLiteral("--quick")))
        what = QStringLiteral("quick");
    XServer server;
    if (!server.start()) {
        qCritical("%s", qPrintable(server.errorString()));
        return 1;
    }
    QProcessEnvironment environment = server.environment();
    // The frames come from here, not from the cameras.
    environment.remove(QStringLiteral("KVCAP2_CONFIG"));
    environment.insert(QStringLiteral("KVCAP2_MODES"), QStringLiteral("2560x1440"));
    environment.insert(QStringLiteral("KVCAP2_NO_FRAMES"), QStringLiteral("1"));
    environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*.debug=false\n*.warning=false"));
    ChildProcess child;
    child.setProcessChannelMode(QProcess::ForwardedChannels);
    child.setProcessEnvironment(environment);
    child.start(QCoreApplication::applicationFilePath(),
                {QStringLiteral("--run"), what, letters.isEmpty() ? folder : letters});
    child.waitForFinished(-1);
    return child.exitStatus() == QProcess::NormalExit ? child.exitCode() : 1;
}
