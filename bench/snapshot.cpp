// SPDX-License-Identifier: Apache-2.0
// What saving the composite costs beside the encoder alone: a scene of four 2560 x 1440 tiles with marks,
// rendered and written as the program does it, over QImage::save of the ready picture. PNG also without the
// noise of the cameras, and how large the files are over those of QImage::save. Medians; ratios within one
// run.
//
//   bench_snapshot [--quick]

#include <QApplication>
#include <QFile>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QTemporaryDir>
#include <QThreadPool>
#include <cstdio>
#include <vector>

#include "composite.h"
#include "control/picturefile.h"
#include "control/scenepicture.h"
#include "marks/interactivescene.h"
#include "marks/markfile.h"

namespace {

/// The same as if the camera had no noise and nothing were in focus.
QPixmap unfocused(const QPixmap& picture) {
    return picture.scaled(picture.size() / 8, Qt::IgnoreAspectRatio, Qt::SmoothTransformation)
        .scaled(picture.size(), Qt::IgnoreAspectRatio, Qt::SmoothTransformation);
}

struct Costs {
    double plain;    // ms, QImage::save of the ready picture
    double program;  // ms, rendering included
    double size;     // of the program's file over the other
};

Costs costs(InteractiveScene& scene, const QString& suffix, int rounds) {
    const QTemporaryDir folder;
    const QImage ready = scenePicture(&scene).image;
    // Each under a name of its own, as pictures named by the time are.
    const QString plainFile = folder.filePath(QStringLiteral("plain") + suffix);
    const QString programFile = folder.filePath(QStringLiteral("program") + suffix);
    std::vector<double> plain;
    std::vector<double> program;
    double size = 0;
    for (int round = 0; round < rounds; ++round) {
        plain.push_back(milliseconds([&] { ready.save(plainFile, nullptr, 75); }));
        program.push_back(milliseconds([&] { saveScene(&scene, programFile, 75); }));
        // The disk takes the picture in the background: not at the cost of the next one measured.
        QThreadPool::globalInstance()->waitForDone();
        // A save that fails is quick.
        if (QImage(programFile).size() != ready.size() || QFileInfo(plainFile).size() == 0)
            qFatal("%s was not saved", qUtf8Printable(suffix));
        size = double(QFileInfo(programFile).size()) / double(QFileInfo(plainFile).size());
        QFile::remove(plainFile);
        QFile::remove(programFile);
    }
    return {median(plain), median(program), size};
}

void printPng(const char* what, const Costs& png) {
    std::printf("%-19s %6.0f ms %8.0f ms    %.2f x, file %.3f x\n", what, png.plain, png.program,
                png.program / png.plain, png.size);
}

}  // namespace

int main(int argc, char* argv[]) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const int rounds = argc > 1 ? 3 : 15;
    InteractiveScene scene(nullptr, 0);
    std::vector<QGraphicsPixmapItem*> tiles;
    for (int i = 0; i < 4; ++i) {
        tiles.push_back(scene.addPixmap(tilePicture(i)));
        tiles.back()->setPos(i % 2 * 2560, i / 2 * 1440);
    }
    scene.setSceneRect(0, 0, 5120, 2880);
    for (const char* line :
         {"Line #ff0000 1 1 | 100 100 4000 2000", "Circle #ffff00 1 1 | 500 500 900 500 700 300",
          "HLine #00ff00 1 1 | 0 700", "Rectangle #0000ff 1 1 10 | 3000 300 3500 900"})
        scene.addItem(markFromLine(QString::fromLatin1(line), &scene).release());

    std::vector<double> render;
    for (int round = 0; round < rounds; ++round)
        render.push_back(milliseconds([&] { scenePicture(&scene); }));
    std::printf("5120 x 2880, rendering alone %.0f ms\n", median(render));
    std::printf("                 QImage::save    program    over it\n");
    for (const char* suffix : {".jpg", ".bmp"}) {
        const Costs each = costs(scene, QString::fromLatin1(suffix), rounds);
        std::printf("%-19s %6.0f ms %8.0f ms    %+5.0f %%\n", suffix, each.plain, each.program,
                    (each.program / each.plain - 1) * 100);
    }
    const int fewer = (rounds + 4) / 5;  // it takes seconds
    printPng(".png", costs(scene, QStringLiteral(".png"), fewer));
    for (QGraphicsPixmapItem* tile : tiles)
        tile->setPixmap(unfocused(tile->pixmap()));
    printPng(".png, out of focus", costs(scene, QStringLiteral(".png"), fewer));
    return 0;
}
