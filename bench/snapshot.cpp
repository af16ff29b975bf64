// What saving the composite costs beside the encoder alone: a scene of four 2560 x 1440 tiles with marks,
// rendered and written as the program does it, over QImage::save of the ready picture. Medians; ratios within
// one run.
//
//   bench_snapshot [--quick]

#include <QApplication>
#include <QElapsedTimer>
#include <QGraphicsPixmapItem>
#include <QTemporaryDir>
#include <algorithm>
#include <cstdio>
#include <functional>
#include <vector>

#include "camera/kvcap2.h"
#include "control/snapshot.h"
#include "marks/interactivescene.h"
#include "marks/markfile.h"

namespace {

double median(int rounds, const std::function<void()>& work) {
    std::vector<double> times;
    for (int i = 0; i < rounds; ++i) {
        QElapsedTimer timer;
        timer.start();
        work();
        times.push_back(double(timer.nsecsElapsed()) / 1e6);
    }
    std::nth_element(times.begin(), times.begin() + rounds / 2, times.end());
    return times[size_t(rounds / 2)];
}

/// A colour frame of a simulated camera: encoders depend on what is in a picture.
QPixmap tilePicture(int32_t camera) {
    QImage image(2560, 1440, QImage::Format_RGB888);
    auto length = static_cast<int32_t>(image.sizeInBytes());
    CameraInit(camera);
    if (CameraQueryImage(camera, image.bits(), &length, kFormatRgb24) != 0)
        qFatal("no picture of camera %d", camera);
    CameraFree(camera);
    return QPixmap::fromImage(image);
}

}  // namespace

int main(int argc, char* argv[]) {
    if (!qEnvironmentVariableIsSet("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    const int rounds = argc > 1 ? 1 : 7;
    InteractiveScene scene(nullptr, 0);
    for (int i = 0; i < 4; ++i)
        scene.addPixmap(tilePicture(i))->setPos(i % 2 * 2560, i / 2 * 1440);
    scene.setSceneRect(0, 0, 5120, 2880);
    for (const char* line :
         {"Line #ff0000 1 1 | 100 100 4000 2000", "Circle #ffff00 1 1 | 500 500 900 500 700 300",
          "HLine #00ff00 1 1 | 0 700", "Rectangle #0000ff 1 1 10 | 3000 300 3500 900"})
        scene.addItem(markFromLine(QString::fromLatin1(line), &scene).release());

    const QTemporaryDir folder;
    const QImage ready = renderedScene(&scene);
    const double render = median(rounds, [&] { renderedScene(&scene); });
    std::printf("5120 x 2880, rendering alone %.0f ms\n", render);
    std::printf("          QImage::save    program    over it\n");
    for (const char* suffix : {".jpg", ".png", ".bmp"}) {
        const QString file = folder.filePath(QStringLiteral("picture") + QLatin1String(suffix));
        const double alone = median(rounds, [&] { ready.save(file, nullptr, 75); });
        const double whole = median(rounds, [&] { writePicture(renderedScene(&scene), file, 75); });
        std::printf("%s      %8.0f ms %8.0f ms    %+5.0f %%\n", suffix, alone, whole,
                    (whole / alone - 1) * 100);
    }
    return 0;
}
