#include "control/snapshot.h"

#include <QDebug>
#include <QGraphicsScene>
#include <QPainter>

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
    const bool written = picture.save(fileName, nullptr, quality);
    if (!written)
        qWarning("%s was not written", qUtf8Printable(fileName));
    return written;
}
