// SPDX-License-Identifier: Apache-2.0
// The whole way of the frames, live: the real window on an X server of its own, the simulated camera library,
// four cameras of 2560 x 1440 px with the correction on. The cameras are not in step, as real ones are not:
// their phases are spread, their frames jitter, and their rates differ by 0.1 to 0.5 %.
//
//   bench_live                        all cases, a process each
//   bench_live --quick                each for a moment only, to see that they run
//   bench_live --list                 the cases
//   bench_live --rows A,B             only these
//   bench_live --seconds N            each measured for so long, 10 s unless told
//   bench_live --beside PROGRAM       the same program of another build, case by case in turns, on this one's
//   camera
//                                     library; at the end what each case costs here and there, medians of the
//                                     rounds
//   bench_live --rounds N             of --beside, 5 unless told
//   bench_live --case NAME SECONDS    one of them, on whatever display there is
//
// "shown" are frames that were painted, of those that the cameras delivered, both by their time stamps;
// "latency" is from a frame's time stamp to the end of the painting that shows it; a tile is "current" after
// a block when it shows a frame that was taken after it. A processor is one core: 200 % are two. "processor"
// is that of this process without "cameras", what its threads take inside CameraQueryImage, in the same
// seconds; the X server is not in it.

#include <sched.h>

#include <QApplication>
#include <QProcess>
#include <QRegularExpression>
#include <QScreen>
#include <QSlider>
#include <QTimer>
#include <cstdio>

#include "bareview.h"
#include "calibration/calibrationfile.h"
#include "camera/kvcap2.h"
#include "exactscreen.h"
#include "live/tile.h"
#include "livemeasure.h"
#include "support/mainwindowtest.h"
#include "support/xserver.h"

namespace {

enum class Show { Window, BareView };

struct Case {
    const char* name;
    const char* title;
    double rate;  // frames a second of each camera, about
    Show where = Show::Window;
    bool isInStep = false;
    bool isBusy = false;  // another process takes what it can get of one core
    bool isQuick = true;  // also in a quick run
};

const Case kCases[] = {
    {"start", "start", 30},
    {"plain30", "30 frames a second, not corrected", 30},
    {"live15", "15 frames a second", 15},
    {"live30", "30 frames a second", 30},
    {"live60", "60 frames a second", 60},
    {"busy60", "60 frames a second, one core busy", 60, Show::Window, false, true},
    {"live120", "120 frames a second", 120},
    {"live240", "240 frames a second", 240},
    {"colour30", "30 frames a second in colour", 30},
    {"colour60", "60 frames a second in colour", 60},
    {"smooth30", "30 frames a second, smooth correction", 30},
    {"smoothcolour30", "30 frames a second in colour, smooth correction", 30, Show::Window, false, false,
     false},
    {"step30", "30 frames a second, cameras in step", 30, Show::Window, true},
    {"step60", "60 frames a second, cameras in step", 60, Show::Window, true, false, false},
    {"bare30", "30 frames a second, a bare view", 30, Show::BareView},
    {"bare60", "60 frames a second, a bare view", 60, Show::BareView, false, false, false},
    {"barecolour30", "30 frames a second in colour, a bare view", 30, Show::BareView, false, false, false},
    {"frozen120", "120 frames a second, display frozen", 120},
    {"block30", "30 frames a second, blocked for 2 s", 30},
    {"block120", "120 frames a second, blocked for 2 s", 120},
    {"slider30", "30 frames a second, a slider dragged", 30},
    {"mark30", "30 frames a second, a mark dragged", 30},
    {"pixels", "every shown frame compared with the plain way", 4},
    {"pixelscolour", "the same in colour", 4, Show::Window, false, false, false},
    {"pixelssmooth", "the same, smooth correction", 4, Show::Window, false, false, false},
};

const Case* caseOf(const QByteArray& name) {
    const auto* found = std::find_if(std::begin(kCases), std::end(kCases),
                                     [&](const Case& entry) { return name == entry.name; });
    return found != std::end(kCases) ? found : nullptr;
}

bool isInColour(const QByteArray& name) {
    return name.contains("colour");
}

bool isSmooth(const QByteArray& name) {
    return name.contains("smooth");
}

/// The cameras of a case, for the library's configuration file.
QByteArray camerasOf(const Case& entry) {
    // Even light: a pulsing one makes other pictures for frames that are not in step with it, which costs
    // more than handing them out.
    QByteArray text =
        "[Library]\nCount=4\nArrangement=grid\n[Scene]\nFlicker=0\n[Camera]\nModes=2560x1440\nRate=" +
        QByteArray::number(entry.rate) + "\n";
    if (entry.isInStep)
        return text;
    constexpr double kPhases[kCameras] = {0, 0.31, 0.52, 0.83};     // of the time between frames
    constexpr double kRates[kCameras] = {1, 1.001, 0.9975, 1.005};  // of the common one
    const double period = 1000 / entry.rate;
    text += "Jitter=" + QByteArray::number(std::min(4.0, period / 4)) + "\n";
    for (int i = 0; i < kCameras; ++i) {
        text += "[Camera" + QByteArray::number(i) + "]\nPhase=" + QByteArray::number(kPhases[i] * period) +
                "\nRate=" + QByteArray::number(entry.rate * kRates[i]) + "\n";
    }
    return text;
}

class Live : public LiveMeasure {
public:
    explicit Live(const QByteArray& caseName) : name(caseName) {}

    bool start() {
        const bool isCorrected = name != "plain30";
        if (!WorkingFolder::write(
                QStringLiteral("setting.ini"),
                "[Camera]\nCamNum=4\nMode=0\n[File]\nLang=1\nType=1\nTrans=" +
                    QByteArray(isCorrected ? "1" : "0") + (name == "frozen120" ? "\nFreezeImage=true" : "") +
                    (isInColour(name) ? "\nColor=1" : "") + (isSmooth(name) ? "\nSmooth=1" : "") +
                    "\n[Pos]\nX1=2320\nY2=1300\nX3=2320\nY3=1300\nX0=0\nY0=0\nX2=0\nY1=0\n"))
            return false;
        std::vector<Calibration> calibrations;
        for (int i = 0; i < kCameras; ++i)
            calibrations.push_back(calibrationOf(i));
        if (!writeCalibrations(calibrations).isEmpty())
            return false;
        window.start();
        if (!window.waitForTiles(kCameras))
            return false;
        for (int i = 0; i < kCameras; ++i)
            CameraSetExposure(i, 100);  // 1 ms; the default one takes longer than fast cameras have
        const auto threads = window.get()->findChildren<CaptureThread*>();
        for (CaptureThread* thread : threads) {
            QObject::connect(
                thread, &CaptureThread::captured, thread,
                [this](int, const QImage&, const unsigned char*, quint64 timestamp) {
                    noteDelivered(qint64(timestamp));
                },
                Qt::DirectConnection);
        }
        watchTiles(window.get(), window.tiles());
        return true;
    }

    /// Time of a painting, s, of a window that does nothing but draw the tiles' pixmaps, as large as the view
    /// and in the same places; median.
    double drawingAlone() const {
        class Pictures : public QWidget {
        public:
            QTransform transform;
            QVector<QPair<QPointF, QPixmap>> pixmaps;
            double seconds = 0;

        protected:
            void paintEvent(QPaintEvent*) override {
                QPainter painter(this);
                painter.setTransform(transform);
                for (const auto& entry : qAsConst(pixmaps))
                    painter.drawPixmap(entry.first, entry.second);
            }
            bool event(QEvent* event) override {
                QElapsedTimer timer;
                timer.start();
                const bool handled = QWidget::event(event);
                if (event->type() == QEvent::UpdateRequest)
                    seconds = double(timer.nsecsElapsed()) / 1e9;
                return handled;
            }
        } pictures;
        const QGraphicsView* view = window.view();
        pictures.transform = view->viewportTransform();
        for (const auto* tile : tiles)
            pictures.pixmaps.append({tile->pos(), tile->pixmap()});
        pictures.resize(view->viewport()->size());
        pictures.show();
        (void)QTest::qWaitForWindowExposed(&pictures);
        std::vector<double> times;
        for (int i = 0; i < 50; ++i) {
            pictures.seconds = 0;
            pictures.update();
            (void)QTest::qWaitFor([&] { return pictures.seconds > 0; }, kWait);
            times.push_back(pictures.seconds);
        }
        std::nth_element(times.begin(), times.begin() + 25, times.end());
        return times[25];
    }

    /// The same of the view itself, while no frames come.
    double paintingAlone() {
        std::vector<double> times;
        for (int i = 0; i < 50; ++i) {
            const int before = watch->count;
            watch->seconds = 0;
            window.view()->viewport()->update();
            (void)QTest::qWaitFor([&] { return watch->count > before; }, kWait);
            times.push_back(watch->seconds);
        }
        std::nth_element(times.begin(), times.begin() + 25, times.end());
        return times[25];
    }

    QByteArray name;
    WindowUnderTest window;
};

constexpr int kPaintedEvery = 10;  // shown frames
constexpr int kMostPainted = 6;

QImage inScreenFormat(const QImage& picture) {
    return picture.convertToFormat(QImage::Format_RGB32);
}

/// What the screen shows at a moment, and of what.
struct Painted {
    static Painted of(const Live& live) {
        const QGraphicsView* view = live.window.view();
        Painted result;
        for (const auto* tile : live.tiles)
            result.tiles.append({tile->pixmap().toImage().copy(), tile->pos()});
        result.toScreen = view->viewportTransform();
        const QRect area(view->viewport()->mapToGlobal(QPoint()), view->viewport()->size());
        result.screen = QGuiApplication::primaryScreen()
                            ->grabWindow(0, area.x(), area.y(), area.width(), area.height())
                            .toImage();
        return result;
    }

    QVector<PlacedPicture> tiles;
    QTransform toScreen;
    QImage screen;
};

/// Every picture that is shown, pixel by pixel, with what the plain way makes of the same frame.
int comparePixels(Live& live, const char* title, int seconds) {
    Correction correction;
    correction.isSmooth = isSmooth(live.name);
    for (int i = 0; i < kCameras; ++i)
        correction.take(i, calibrationOf(i), kFrame);
    QMutex mutex;
    std::map<std::pair<int, quint64>, QImage> frames;
    std::map<QGraphicsPixmapItem*, int> indexOf;
    const auto threads = live.window.get()->findChildren<CaptureThread*>();
    for (CaptureThread* thread : threads) {
        QObject::connect(
            thread, &CaptureThread::captured, thread,
            [&](int id, const QImage& image, const unsigned char*, quint64 timestamp) {
                const QMutexLocker lock(&mutex);
                frames[{id, timestamp}] = image.copy();
            },
            Qt::DirectConnection);
    }
    const QPointF places[kCameras] = {{0, 0}, {2320, 0}, {0, 1300}, {2320, 1300}};
    for (auto* tile : qAsConst(live.tiles)) {
        for (int i = 0; i < kCameras; ++i) {
            if (tile->pos() == places[i])
                indexOf[tile] = i;
        }
    }
    int compared = 0;
    int different = 0;
    QVector<Painted> painted;
    std::map<QGraphicsPixmapItem*, quint64> last;
    live.watch->painted = [&] {
        for (auto* tile : qAsConst(live.tiles)) {
            const quint64 timestamp = tile->data(kTimestampOfTile).toULongLong();
            const int id = indexOf[tile];
            QImage frame;
            {
                const QMutexLocker lock(&mutex);
                const auto found = frames.find({id, timestamp});
                if (last[tile] == timestamp || found == frames.end())
                    continue;
                frame = found->second;
                // What is older is of no use any more.
                frames.erase(frames.lower_bound({id, 0}), std::next(found));
            }
            last[tile] = timestamp;
            ++compared;
            // Whatever format the pixmap keeps its pixels in, their values count.
            const QImage wanted = correctedPicture(frame, correction, id, kCameras, 0);
            if (inScreenFormat(tile->pixmap().toImage()) != inScreenFormat(wanted))
                ++different;
        }
        if (compared >= kPaintedEvery * (painted.size() + 1) && painted.size() < kMostPainted)
            painted.append(Painted::of(live));
    };
    QTest::qWait(std::max(3, seconds) * 1000);
    live.watch->painted = {};
    live.window.end();
    std::printf("%-46s compared %d, different %d\n", title, compared, different);
    double least = 99;
    for (const Painted& picture : qAsConst(painted)) {
        const ExactScreen exact(picture.tiles, picture.toScreen, picture.screen.size());
        least = std::min(least, differenceOf(exact, picture.screen).decibels);
    }
    std::printf("%-46s compared %d, least PSNR %.1f dB\n", "of them, the screen beside the exact mean",
                painted.size(), least);
    return compared > 0 && different == 0 ? 0 : 1;
}

void block() {
    QThread::msleep(2000);
}

int runBareView(const Case& entry, int seconds) {
    LiveMeasure measure;
    if (seconds <= 1)
        measure.warmUp = 300;
    BareStation station(isInColour(entry.name), [&](qint64 timestamp) { measure.noteDelivered(timestamp); });
    measure.watchTiles(station.view(), station.tiles());
    (void)QTest::qWaitFor([&] { return measure.isCurrent(1); }, kWait);
    measure.measure(seconds);
    measure.report(entry.title);
    return 0;
}

int runCase(const QByteArray& name, int seconds) {
    const Case* found = caseOf(name);
    if (!found)
        return 2;
    if (found->where == Show::BareView)
        return runBareView(*found, seconds);
    Live live(name);
    if (seconds <= 1)
        live.warmUp = 300;
    if (name == "start") {
        const qint64 begun = now();
        if (!live.start())
            return 1;
        const qint64 processBegun = qEnvironmentVariable("BENCH_BEGUN", QString::number(begun)).toLongLong();
        std::printf(
            "%-46s first pictures of all tiles %lld ms after the process began, %lld ms after the "
            "window did\n",
            found->title, static_cast<long long>(now() - processBegun),
            static_cast<long long>(now() - begun));
        return 0;
    }
    if (!live.start())
        return 1;
    if (name.startsWith("pixels"))
        return comparePixels(live, found->title, seconds);
    if (name.startsWith("block")) {
        qint64 current = -1;
        live.measure(seconds, [&] {
            block();
            const qint64 free = now();
            if (QTest::qWaitFor([&] { return live.isCurrent(free); }, kWait))
                current = now() - free;
        });
        live.report(found->title);
        std::printf("%-46s all tiles current %lld ms after the block\n", "", static_cast<long long>(current));
        return current >= 0 ? 0 : 1;
    }
    if (name == "slider30") {
        live.window.action("action_Setting")->trigger();
        QWidget* dialog = live.window.get()->findChild<QDialog*>(QStringLiteral("SettingDialog"));
        auto* slider = dialog ? dialog->findChild<QSlider*>() : nullptr;
        if (!slider)
            return 1;
        QTimer drag;
        int moved = 0;
        drag.callOnTimeout([&] {
            const int range = slider->maximum() - slider->minimum();
            ++moved;
            slider->setValue(slider->minimum() + moved * 7 % std::max(1, range));
        });
        drag.start(10);
        live.measure(seconds);
        live.report(found->title);
        std::printf("%-46s slider moved %.1f times a second\n", "", moved / live.elapsed);
        return 0;
    }
    if (name == "mark30") {
        WorkingFolder::write(QStringLiteral("mark0.txt"), "Line #ff0000 1 0 | 500 500 3500 1500\r\n");
        live.window.action("actionLoad_Corner")->trigger();
        QGraphicsItem* mark = nullptr;
        const auto items = live.window.view()->scene()->items();
        for (QGraphicsItem* item : items) {
            if (!qgraphicsitem_cast<QGraphicsPixmapItem*>(item))
                mark = item;
        }
        if (!mark)
            return 1;
        QTimer drag;
        int moved = 0;
        drag.callOnTimeout([&] {
            ++moved;
            mark->setPos(moved % 300, moved % 200);
        });
        drag.start(10);
        live.measure(seconds);
        live.report(found->title);
        std::printf("%-46s mark moved %.1f times a second\n", "", moved / live.elapsed);
        return 0;
    }
    live.measure(seconds);
    live.report(found->title);
    if (name == "live30") {
        live.window.action("action_Stop")->trigger();
        QTest::qWait(300);  // the last frames are through
        const double view = live.paintingAlone();
        const double pixmaps = live.drawingAlone();
        std::printf(
            "%-46s painting the whole view %.1f ms, a window of nothing but the four pixmaps %.1f ms\n", "",
            view * 1000, pixmaps * 1000);
    }
    return 0;
}

/// Takes what it can get of one core, until it is ended.
int spin() {
    cpu_set_t cores;
    sched_getaffinity(0, sizeof cores, &cores);
    int first = 0;
    while (!CPU_ISSET(first, &cores))
        ++first;
    CPU_ZERO(&cores);
    CPU_SET(first, &cores);
    sched_setaffinity(0, sizeof cores, &cores);
    for (volatile unsigned count = 0;; ++count) {
    }
}

/// What the line of a case says.
struct Figures {
    double processor = 0;  // per cent of a core
    double perFrame = 0;   // ms of it for each shown frame
    double shown = 0;      // per cent
    double late = 0;       // latency that 95 % stay below, ms
};

using Runs = QVector<Figures>;

double median(const Runs& runs, double Figures::*member) {
    QVector<double> values;
    for (const Figures& figures : runs)
        values.append(figures.*member);
    std::sort(values.begin(), values.end());
    return values.isEmpty() ? 0 : (values[(values.size() - 1) / 2] + values[values.size() / 2]) / 2;
}

class Bench {
public:
    bool start() {
        if (server.start())
            return true;
        qCritical("%s", qPrintable(server.errorString()));
        return false;
    }

    /// Runs a case of a program; its figures go to `runs` where its line has them. `mark` begins the lines.
    /// False when it fails.
    bool run(const QString& program, const Case& entry, int seconds, const char* mark = "",
             Runs* runs = nullptr) {
        QFile configuration(folder.filePath(QStringLiteral("kvcap2.ini")));
        if (!configuration.open(QIODevice::WriteOnly) || configuration.write(camerasOf(entry)) < 0)
            return false;
        configuration.close();
        QProcessEnvironment environment = server.environment();
        environment.insert(QStringLiteral("KVCAP2_CONFIG"), configuration.fileName());
        environment.insert(QStringLiteral("QT_LOGGING_RULES"), QStringLiteral("*.debug=false"));
        environment.insert(QStringLiteral("BENCH_BEGUN"), QString::number(now()));
        // Another build's program runs on the same cameras.
        environment.insert(QStringLiteral("LD_LIBRARY_PATH"),
                           QDir(QCoreApplication::applicationDirPath()).filePath(QStringLiteral("../lib")));
        ChildProcess other;
        if (entry.isBusy)
            other.start(QCoreApplication::applicationFilePath(), {QStringLiteral("--spin")});
        ChildProcess child;
        child.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        child.setProcessEnvironment(environment);
        child.start(program,
                    {QStringLiteral("--case"), QString::fromLatin1(entry.name), QString::number(seconds)});
        child.waitForFinished(-1);
        other.kill();
        other.waitForFinished();
        const QByteArray output = child.readAllStandardOutput();
        for (const QByteArray& line : output.split('\n')) {
            if (!line.isEmpty())
                std::printf("%s%s\n", mark, line.constData());
        }
        std::fflush(stdout);
        static const QRegularExpression pattern(QStringLiteral(
            "shown +([0-9.]+) %.* p95 +(-?[0-9]+) .*processor +([0-9.]+) % \\(([0-9.]+) ms a frame"));
        const auto found = pattern.match(QString::fromUtf8(output));
        if (runs && found.hasMatch()) {
            runs->append({found.captured(3).toDouble(), found.captured(4).toDouble(),
                          found.captured(1).toDouble(), found.captured(2).toDouble()});
        }
        if (child.exitStatus() == QProcess::NormalExit && child.exitCode() == 0)
            return true;
        qCritical("%s failed", entry.name);
        return false;
    }

private:
    XServer server;
    QTemporaryDir folder;
};

bool runBeside(Bench& bench, const QString& other, const QVector<const Case*>& cases, int seconds,
               int rounds) {
    const QString own = QCoreApplication::applicationFilePath();
    std::map<const Case*, std::pair<Runs, Runs>> results;
    bool ok = true;
    for (int round = 0; round < rounds; ++round) {
        for (const Case* entry : cases) {
            auto& [here, there] = results[entry];
            // Whoever is first changes, as the machine may get slower or quicker.
            const bool isOtherFirst = round % 2 == 1;
            if (isOtherFirst)
                ok = bench.run(other, *entry, seconds, "there ", &there) && ok;
            ok = bench.run(own, *entry, seconds, "here  ", &here) && ok;
            if (!isOtherFirst)
                ok = bench.run(other, *entry, seconds, "there ", &there) && ok;
        }
    }
    std::printf("\n%-46s %-27s %-27s %s\n", "medians of the rounds: here and there", "processor, %",
                "ms a shown frame", "shown, %");
    for (const Case* entry : cases) {
        const auto& [here, there] = results[entry];
        if (here.isEmpty() || there.isEmpty())
            continue;
        const auto ratio = [&here = here, &there = there](double Figures::*member) {
            const double of = median(there, member);
            return of > 0 ? median(here, member) / of : 0;
        };
        std::printf(
            "%-46s %5.1f %5.1f  ratio %.3f   %5.2f %5.2f  ratio %.3f   %5.1f %5.1f   p95 %.0f %.0f ms\n",
            entry->title, median(here, &Figures::processor), median(there, &Figures::processor),
            ratio(&Figures::processor), median(here, &Figures::perFrame), median(there, &Figures::perFrame),
            ratio(&Figures::perFrame), median(here, &Figures::shown), median(there, &Figures::shown),
            median(here, &Figures::late), median(there, &Figures::late));
    }
    return ok;
}

/// The argument behind `name`, or `fallback`.
QString option(const char* name, const QString& fallback) {
    const QStringList arguments = QCoreApplication::arguments();
    const int at = arguments.indexOf(QLatin1String(name));
    return at > 0 ? arguments.value(at + 1, fallback) : fallback;
}

}  // namespace

int main(int argc, char* argv[]) {
    if (argc == 4 && qstrcmp(argv[1], "--case") == 0) {
        QApplication application(argc, argv);
        return runCase(argv[2], QByteArray(argv[3]).toInt());
    }
    const QCoreApplication application(argc, argv);
    if (QCoreApplication::arguments().contains(QStringLiteral("--spin")))
        return spin();
    const bool isQuick = QCoreApplication::arguments().contains(QStringLiteral("--quick"));
    const QByteArray chosen = option("--rows", {}).toLatin1();
    QVector<const Case*> cases;
    for (const Case& entry : kCases) {
        if (chosen.isEmpty() ? entry.isQuick || !isQuick : chosen.split(',').contains(entry.name))
            cases.append(&entry);
    }
    if (QCoreApplication::arguments().contains(QStringLiteral("--list"))) {
        for (const Case* entry : qAsConst(cases))
            std::printf("%-14s %s\n", entry->name, entry->title);
        return 0;
    }
    const int seconds = option("--seconds", isQuick ? QStringLiteral("1") : QStringLiteral("10")).toInt();
    const QString other = option("--beside", {});
    Bench bench;
    if (cases.isEmpty() || seconds < 1 || !bench.start())
        return 1;
    if (!other.isEmpty())
        return runBeside(bench, other, cases, seconds, option("--rounds", QStringLiteral("5")).toInt()) ? 0
                                                                                                        : 1;
    bool ok = true;
    for (const Case* entry : qAsConst(cases))
        ok = bench.run(QCoreApplication::applicationFilePath(), *entry, seconds) && ok;
    return ok ? 0 : 1;
}
