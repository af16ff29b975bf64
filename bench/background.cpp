// SPDX-License-Identifier: Apache-2.0
// How long a save holds the GUI thread: at once, and where it is only taken and written in the background. A
// scene of four 2560 x 1440 tiles with marks; medians.
//
//   bench_background [--quick]

#include <QApplication>
#include <QGraphicsPixmapItem>
#include <QTemporaryDir>
#include <cstdio>
#include <vector>

#include "composite.h"
#include "control/picturefile.h"
#include "control/pictureworker.h"
#include "marks/interactivescene.h"
#include "marks/markfile.h"

namespace {

constexpr int kQuality = 75;

}  // namespace

int main(int argc, char* argv[]) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const int rounds = argc > 1 ? 3 : 11;
    InteractiveScene scene(nullptr, 0);
    for (int i = 0; i < 4; ++i)
        scene.addPixmap(tilePicture(i))->setPos(i % 2 * 2560, i / 2 * 1440);
    scene.setSceneRect(0, 0, 5120, 2880);
    for (const char* line : {"Line #ff0000 1 1 | 100 100 4000 2000", "HLine #00ff00 1 1 | 0 700"})
        scene.addItem(markFromLine(QString::fromLatin1(line), &scene).release());

    const QTemporaryDir folder;
    PictureWorker worker;
    std::printf("5120 x 2880     at once   background\n");
    for (const char* suffix : {".jpg", ".png", ".bmp"}) {
        const QString file = folder.filePath(QStringLiteral("picture") + QLatin1String(suffix));
        std::vector<double> atOnce;
        std::vector<double> background;
        for (int round = 0; round < rounds; ++round) {
            atOnce.push_back(milliseconds([&] { saveScene(&scene, file, kQuality); }));
            background.push_back(milliseconds([&] {
                if (!worker.add(takeScene(&scene, file), file, kQuality))
                    qFatal("no memory or no thread");
            }));
            worker.waitForAll();
        }
        // A save that fails is quick.
        for (const auto& result : worker.takeResults()) {
            if (!result.problem.isEmpty())
                qFatal("%s was not saved", suffix);
        }
        std::printf("%s      %8.0f ms  %8.0f ms\n", suffix, median(atOnce), median(background));
    }
    return 0;
}
