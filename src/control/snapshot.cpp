#include "control/snapshot.h"

#include <QBuffer>
#include <QDebug>
#include <QFileInfo>
#include <QGraphicsScene>
#include <QImageWriter>
#include <QPainter>
#include <cstdlib>
#include <new>

#include "platform/platform.h"

QString snapshotName(const QDateTime& time) {
    return QStringLiteral("snapshot-%1").arg(time.toString(QStringLiteral("yyyyMMddhhmmsszzz")));
}

QString snapshotSuffix(int type) {
    switch (type) {
        case 0:
            return QStringLiteral(".bmp");
        case 1:
            return QStringLiteral(".jpg");
        case 2:
            return QStringLiteral(".png");
        default:
            return {};
    }
}

namespace {

constexpr int kBytesPerPixel = 4;
constexpr double kMostBytes = 1 << 29;  // four cameras of 4096 x 4096 px take half of it

/// A transparent picture: what lies under no item is the same in every file instead of whatever the memory
/// held. Memory of this size comes from the system as zeros, which saves filling it (a third of the
/// rendering).
QImage blankPicture(int width, int height) {
    void* bits = width > 0 && height > 0
                     ? std::calloc(static_cast<size_t>(height), static_cast<size_t>(width) * kBytesPerPixel)
                     : nullptr;
    if (!bits)
        return {};
    return {static_cast<uchar*>(bits),
            width,
            height,
            width * kBytesPerPixel,
            QImage::Format_ARGB32_Premultiplied,
            [](void* memory) { std::free(memory); },
            bits};
}

}  // namespace

QImage renderedScene(QGraphicsScene* scene) {
    const QRectF area = scene->sceneRect();
    // Tiles can be dragged or configured further apart than any picture is large. A system could grant the
    // memory of such a picture and then end the program; the encoder needs it twice.
    if (!(area.width() < kMostBytes && area.height() < kMostBytes &&
          area.width() * area.height() * kBytesPerPixel < kMostBytes)) {
        qWarning("A scene of %g x %g px is too large to be saved", area.width(), area.height());
        return {};
    }
    const int width = static_cast<int>(area.width());
    const int height = static_cast<int>(area.height());
    QImage image = blankPicture(width, height);
    if (image.isNull()) {
        if (width > 0 && height > 0)
            qWarning("No memory for a picture of %d x %d px", width, height);
        return image;
    }
    QPainter painter(&image);
    scene->render(&painter);
    return image;
}

bool writePicture(const QImage& picture, const QString& fileName, int quality) {
    // Encoded in memory first: whoever watches the folder never sees half a picture.
    QByteArray bytes;
    QBuffer buffer(&bytes);
    buffer.open(QIODevice::WriteOnly);
    QImageWriter writer(&buffer, QFileInfo(fileName).suffix().toLatin1());
    writer.setQuality(quality);
    try {
        if (!writer.write(picture)) {
            qWarning("%s was not written: %s", qUtf8Printable(fileName),
                     qUtf8Printable(writer.errorString()));
            return false;
        }
    } catch (const std::bad_alloc&) {
        qWarning("%s was not written: no memory", qUtf8Printable(fileName));
        return false;
    }
    return platform::replaceFile(fileName, bytes);
}
