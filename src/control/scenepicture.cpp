// SPDX-License-Identifier: Apache-2.0
#include "control/scenepicture.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QPainter>
#include <algorithm>
#include <cmath>
#include <memory>
#include <opencv2/imgproc.hpp>

#include "platform/memory.h"

namespace {

constexpr double kMostBytes = 1 << 29;  // four cameras of 4096 x 4096 px take half of it
constexpr int kBytesPerPixel = 4;       // at most

struct PictureMemory {
    explicit PictureMemory(size_t wanted) : bytes(platform::takeZeroedMemory(wanted)), size(wanted) {}
    ~PictureMemory() {
        if (bytes)
            platform::giveZeroedMemoryBack(bytes, size);
    }
    PictureMemory(const PictureMemory&) = delete;
    PictureMemory& operator=(const PictureMemory&) = delete;

    void* bytes;
    size_t size;
};

/// What lies under no item is the same in every file instead of whatever the memory held.
QImage blankPicture(int width, int height, QImage::Format format) {
    const int stride = (width * (QImage::toPixelFormat(format).bitsPerPixel() / 8) + 3) / 4 * 4;
    const size_t size = size_t(std::max(stride, 0)) * size_t(std::max(height, 0));
    if (size == 0)
        return {};
    auto memory = std::make_unique<PictureMemory>(size);
    if (!memory->bytes)
        return {};
    QImage image(
        static_cast<uchar*>(memory->bytes), width, height, stride, format,
        [](void* info) { delete static_cast<PictureMemory*>(info); }, memory.get());
    if (!image.isNull())
        static_cast<void>(memory.release());  // the picture's now
    return image;
}

/// A camera's picture in the format that Qt paints best; none if it is another's, or if there is no memory.
QImage inColoursOfQt(const QImage& picture) {
    const bool isGrey = picture.format() == QImage::Format_Grayscale8;
    if (!isGrey && picture.format() != QImage::Format_RGB888)
        return {};
    QImage converted = blankPicture(picture.width(), picture.height(), QImage::Format_RGB32);
    if (converted.isNull())
        return {};
    converted.setDevicePixelRatio(picture.devicePixelRatio());
    const cv::Mat from(picture.height(), picture.width(), isGrey ? CV_8UC1 : CV_8UC3,
                       const_cast<uchar*>(picture.constBits()), size_t(picture.bytesPerLine()));
    cv::Mat to(converted.height(), converted.width(), CV_8UC4, converted.bits(),
               size_t(converted.bytesPerLine()));
    cv::cvtColor(from, to, isGrey ? cv::COLOR_GRAY2BGRA : cv::COLOR_RGB2BGRA);
    return converted;
}

}  // namespace

ScenePicture blankScenePicture(const QGraphicsScene& scene, QImage::Format format) {
    const QRectF area = scene.sceneRect();
    // Tiles can be dragged or configured further apart than any picture is large. A system could grant the
    // memory of such a picture and then end the program; the encoder needs it twice.
    if (!(area.width() < kMostBytes && area.height() < kMostBytes &&
          area.width() * area.height() * kBytesPerPixel < kMostBytes)) {
        const auto problem = QStringLiteral("A scene of %1 x %2 px is too large to be saved")
                                 .arg(area.width())
                                 .arg(area.height());
        qWarning("%s", qUtf8Printable(problem));
        return {{}, problem};
    }
    const int width = static_cast<int>(area.width());
    const int height = static_cast<int>(area.height());
    if (width <= 0 || height <= 0)
        return {{}, QStringLiteral("The scene is empty")};
    ScenePicture picture{blankPicture(width, height, format), {}};
    if (picture.image.isNull()) {
        picture.problem = QStringLiteral("No memory for a picture of %1 x %2 px").arg(width).arg(height);
        qWarning("%s", qUtf8Printable(picture.problem));
    }
    return picture;
}

PaintableTiles::PaintableTiles(const QGraphicsScene& scene) {
    const QSizeF size = scene.sceneRect().size();
    const bool isSceneScaled = size != QSizeF(std::floor(size.width()), std::floor(size.height()));
    const auto items = scene.items();
    for (QGraphicsItem* item : items) {
        auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item);
        if (!tile || !tile->isVisible() || (tile->flags() & QGraphicsItem::ItemHasNoContents) != 0)
            continue;
        const QPixmap own = tile->pixmap();
        if (!isSceneScaled && own.devicePixelRatio() == 1 &&
            tile->sceneTransform().type() <= QTransform::TxTranslate)
            continue;
        const QImage converted = inColoursOfQt(own.toImage());
        if (converted.isNull())
            continue;
        tiles.append({tile, own});
        tile->setPixmap(QPixmap::fromImage(converted));
    }
}

PaintableTiles::~PaintableTiles() {
    for (const Tile& tile : qAsConst(tiles))
        tile.item->setPixmap(tile.own);
}

void paintScene(QGraphicsScene* scene, QImage& image) {
    QPainter painter(&image);
    scene->render(&painter);
}

ScenePicture scenePicture(QGraphicsScene* scene) {
    ScenePicture picture = blankScenePicture(*scene, QImage::Format_ARGB32_Premultiplied);
    if (picture.image.isNull())
        return picture;
    const PaintableTiles tiles(*scene);
    paintScene(scene, picture.image);
    return picture;
}

QImage tilePicture(const QGraphicsPixmapItem& tile) {
    QImage picture = tile.pixmap().toImage();
    return picture.format() == QImage::Format_Grayscale8 ? picture.convertToFormat(QImage::Format_RGB888)
                                                         : picture;
}
