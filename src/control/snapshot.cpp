#include "control/snapshot.h"

#include <QBuffer>
#include <QDebug>
#include <QFileInfo>
#include <QGraphicsScene>
#include <QImageWriter>
#include <QPainter>

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

QImage renderedScene(QGraphicsScene* scene) {
    const QRectF area = scene->sceneRect();
    QImage image(static_cast<int>(area.width()), static_cast<int>(area.height()),
                 QImage::Format_ARGB32_Premultiplied);
    if (image.isNull())
        return image;
    // What lies under no item is the same in every file instead of whatever the memory held.
    image.fill(Qt::transparent);
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
    if (!writer.write(picture)) {
        qWarning("%s was not written: %s", qUtf8Printable(fileName), qUtf8Printable(writer.errorString()));
        return false;
    }
    return platform::replaceFile(fileName, bytes);
}
