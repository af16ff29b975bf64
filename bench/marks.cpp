// SPDX-License-Identifier: Apache-2.0
// What marks cost a view that is busy with live pictures: four tiles of 2320 x 1300 px, all of them with a
// new picture for every painting, as at 30 frames a second, with 500 marks of all kinds over them and
// without.
//
//   bench_marks [--quick]
//
// Prints the time of a painting with marks and without, ms, and their ratio. Off screen; the median of rounds
// that take turns.

#include <QApplication>
#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QGraphicsPixmapItem>
#include <QGraphicsView>
#include <algorithm>
#include <cstdio>
#include <random>
#include <vector>

#include "marks/interactivescene.h"
#include "marks/markfile.h"

namespace {

constexpr int kMarks = 500;
constexpr int kFramesASecond = 30;
const QSize kTile(2320, 1300);
const QSize kView(1600, 900);

std::vector<QPixmap> makePictures() {
    std::vector<QPixmap> pictures;
    std::mt19937 random(1);
    for (int i = 0; i < 8; ++i) {
        QImage image(kTile, QImage::Format_RGB32);
        for (int y = 0; y < image.height(); ++y) {
            auto* line = reinterpret_cast<quint32*>(image.scanLine(y));
            std::generate(line, line + image.width(), [&] { return 0xff000000U | random(); });
        }
        pictures.push_back(QPixmap::fromImage(image));
    }
    return pictures;
}

/// All kinds in turn, spread over the scene, all with their measures.
std::vector<std::unique_ptr<Mark>> makeMarks(InteractiveScene& scene) {
    std::vector<std::unique_ptr<Mark>> marks;
    std::mt19937 random(2);
    for (int i = 0; i < kMarks; ++i) {
        const int x = 100 + static_cast<int>(random() % 4200U);
        const int y = 100 + static_cast<int>(random() % 2200U);
        const QString at = QStringLiteral("%1 %2").arg(x).arg(y);
        const QString beside = QStringLiteral("%1 %2").arg(x + 200).arg(y + 20);
        const QString below = QStringLiteral("%1 %2").arg(x + 30).arg(y + 150);
        const QStringList lines{
            QStringLiteral("Line #ff0000 1 1 | %1 %2").arg(at, beside),
            QStringLiteral("Circle #ffff00 1 1 | %1 %2 %3").arg(at, beside, below),
            QStringLiteral("Arc #ff0000 1 1 | %1 %2 %3").arg(at, beside, below),
            QStringLiteral("Rectangle #0000ff 1 1 0 | %1 %2").arg(at, beside),
            QStringLiteral("Ellipse #ff0000 1 1 0 | %1 %2").arg(at, beside),
            QStringLiteral("HLine #00ff00 1 1 | %1").arg(at),
            QStringLiteral("VLine #00ff00 1 1 | %1").arg(at),
            QStringLiteral("Coordinates #0000ff 1 1 | %1").arg(at),
            QStringLiteral("Polygon #00ff00 1 1 3 | %1 %2 %3 ").arg(at, beside, below),
        };
        marks.push_back(markFromLine(lines[i % lines.size()], &scene));
    }
    return marks;
}

/// The time of one painting, ms, while every tile gets a new picture for each.
double timeOfAPainting(QGraphicsView& view, const std::vector<QGraphicsPixmapItem*>& tiles,
                       const std::vector<QPixmap>& pictures, int frames) {
    QElapsedTimer timer;
    timer.start();
    for (int frame = 0; frame < frames; ++frame) {
        for (size_t i = 0; i < tiles.size(); ++i)
            tiles[i]->setPixmap(pictures[(i + static_cast<size_t>(frame)) % pictures.size()]);
        QCoreApplication::processEvents();
        // Now, not when the platform finds the time.
        view.viewport()->repaint();
    }
    return static_cast<double>(timer.nsecsElapsed()) / 1e6 / frames;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    QCommandLineParser parser;
    const QCommandLineOption quick(QStringLiteral("quick"));
    parser.addOption(quick);
    parser.addHelpOption();
    parser.process(application);
    const int rounds = parser.isSet(quick) ? 3 : 9;
    const int frames = parser.isSet(quick) ? 6 : kFramesASecond;

    InteractiveScene scene(nullptr, 1);
    const auto pictures = makePictures();
    std::vector<QGraphicsPixmapItem*> tiles;
    for (int i = 0; i < 4; ++i) {
        tiles.push_back(scene.addPixmap(pictures[static_cast<size_t>(i)]));
        tiles.back()->setPos(i % 2 * kTile.width(), i / 2 * kTile.height());
    }
    const QSize all = kTile * 2;
    scene.setSceneRect(QRectF(QPointF(), all));
    auto marks = makeMarks(scene);
    QGraphicsView view(&scene);
    view.resize(kView);
    view.fitInView(scene.sceneRect(), Qt::KeepAspectRatio);
    view.show();
    timeOfAPainting(view, tiles, pictures, frames);

    std::vector<double> with;
    std::vector<double> without;
    for (int round = 0; round < rounds; ++round) {
        without.push_back(timeOfAPainting(view, tiles, pictures, frames));
        for (const auto& mark : marks)
            scene.addItem(mark.get());
        timeOfAPainting(view, tiles, pictures, 2);
        with.push_back(timeOfAPainting(view, tiles, pictures, frames));
        for (const auto& mark : marks)
            scene.removeItem(mark.get());
        timeOfAPainting(view, tiles, pictures, 2);
    }
    std::printf("four tiles of %d x %d px in a view of %d x %d px, %d marks\n", kTile.width(), kTile.height(),
                kView.width(), kView.height(), kMarks);
    std::printf("without marks  %7.2f ms a painting\n", median(without));
    std::printf("with marks     %7.2f ms a painting\n", median(with));
    std::printf("ratio          %7.2f\n", median(with) / median(without));
    return 0;
}
