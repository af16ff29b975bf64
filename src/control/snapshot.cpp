#include "control/snapshot.h"

#include <QDebug>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QImageWriter>
#include <QPainter>
#include <QRegion>
#include <QVector>
#include <algorithm>
#include <memory>
#include <new>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "control/textplaces.h"
#include "platform/files.h"
#include "platform/memory.h"

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

constexpr double kMostBytes = 1 << 29;  // four cameras of 4096 x 4096 px take half of it
constexpr int kBytesPerPixel = 4;       // at most

struct PictureMemory {
    void* bytes;
    size_t size;
};

/// A picture of zeros, transparent if the format can be: what lies under no item is the same in every file
/// instead of whatever the memory held.
QImage blankPicture(int width, int height, QImage::Format format) {
    const int stride = (width * (QImage::toPixelFormat(format).bitsPerPixel() / 8) + 3) / 4 * 4;
    const size_t size = size_t(std::max(stride, 0)) * size_t(std::max(height, 0));
    void* bytes = size > 0 ? platform::takeZeroedMemory(size) : nullptr;
    if (!bytes)
        return {};
    return {static_cast<uchar*>(bytes),
            width,
            height,
            stride,
            format,
            [](void* info) {
                const std::unique_ptr<PictureMemory> memory(static_cast<PictureMemory*>(info));
                platform::giveZeroedMemoryBack(memory->bytes, memory->size);
            },
            new PictureMemory{bytes, size}};
}

/// A tile that covers what is under it: its pixels can be copied instead of painted.
struct Cover {
    QGraphicsPixmapItem* item;
    QImage picture;
    QPoint place;  // px of the saved picture
};

bool isWhole(const QPointF& point) {
    return point == QPointF(point.toPoint());
}

std::optional<Cover> coverOf(QGraphicsItem* item, const QRectF& area) {
    auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item);
    // A selected tile is painted with a frame around it.
    if (!tile || tile->isSelected() || tile->parentItem() || tile->graphicsEffect() ||
        tile->effectiveOpacity() < 1 || tile->sceneTransform().type() > QTransform::TxTranslate)
        return {};
    const QPointF place = tile->mapToScene(tile->offset()) - area.topLeft();
    QImage picture = tile->pixmap().toImage();
    if (!isWhole(place) || picture.format() != QImage::Format_RGB32 || picture.devicePixelRatio() != 1)
        return {};
    return Cover{tile, std::move(picture), place.toPoint()};
}

/// What lies at the bottom of the scene, as far as it can be copied, from the bottom up.
QVector<Cover> coversOf(const QGraphicsScene& scene) {
    QVector<Cover> covers;
    const QRectF area = scene.sceneRect();
    // With a part of a pixel more the scene is painted a little smaller.
    if (!isWhole(area.topLeft()) || !isWhole(area.bottomRight()))
        return covers;
    const auto items = scene.items(Qt::AscendingOrder);
    for (QGraphicsItem* item : items) {
        if (!item->isVisible())
            continue;
        auto cover = coverOf(item, area);
        if (!cover)
            break;
        covers.append(std::move(*cover));
    }
    return covers;
}

cv::Mat pixelsOf(const QImage& image, int type) {
    return {image.height(), image.width(), type, const_cast<uchar*>(image.constBits()),
            size_t(image.bytesPerLine())};
}

bool isCovered(const QRect& area, const QVector<Cover>& covers) {
    QRegion left(area);
    for (const Cover& cover : covers)
        left -= QRect(cover.place, cover.picture.size());
    return left.isEmpty();
}

cv::Rect rectOf(const QRect& rect) {
    return {rect.x(), rect.y(), rect.width(), rect.height()};
}

/// Puts the tiles' colours into an RGB888 picture of the scene, and paints what is over them.
void renderColours(const QVector<Cover>& covers, QGraphicsScene* scene, QImage& image) {
    cv::Mat whole = pixelsOf(image, CV_8UC3);
    for (const Cover& cover : covers) {
        const QRect part = image.rect() & QRect(cover.place, cover.picture.size());
        if (part.isEmpty())
            continue;
        // A pixel is blue, green, red, alpha in memory; little endian, as everywhere here.
        cv::Mat to = whole(rectOf(part));
        cv::cvtColor(pixelsOf(cover.picture, CV_8UC4)(rectOf(part.translated(-cover.place))), to,
                     cv::COLOR_BGRA2RGB);
    }
    if (scene->items().size() == covers.size())
        return;
    for (const Cover& cover : covers)
        cover.item->setFlag(QGraphicsItem::ItemHasNoContents);
    QPainter painter(&image);
    scene->render(&painter);
    painter.end();
    const QPointF corner = scene->sceneRect().topLeft();
    QVector<QRect> places = textPlaces(scene);
    const auto selected = scene->selectedItems();
    for (const QGraphicsItem* item : selected)
        places.append(item->sceneBoundingRect().translated(-corner).toAlignedRect());
    for (const Cover& cover : covers)
        cover.item->setFlag(QGraphicsItem::ItemHasNoContents, false);
    // Text comes out a shade different in RGB888, and the dashes of a selected item's frame may begin a pixel
    // beside themselves: where there are some, they are done again as everywhere else.
    for (const QRect& place : qAsConst(places)) {
        const QRect part = place & image.rect();
        QImage patch(part.size(), QImage::Format_ARGB32_Premultiplied);
        if (patch.isNull())
            continue;
        patch.fill(Qt::transparent);
        QPainter patchPainter(&patch);
        scene->render(&patchPainter, patch.rect(), QRectF(part).translated(corner));
        patchPainter.end();
        cv::Mat to = whole(rectOf(part));
        cv::cvtColor(pixelsOf(patch, CV_8UC4), to, cv::COLOR_BGRA2RGB);
    }
}

}  // namespace

QImage renderedScene(QGraphicsScene* scene, QImage::Format preferred) {
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
    const QVector<Cover> covers =
        preferred == QImage::Format_ARGB32_Premultiplied ? QVector<Cover>() : coversOf(*scene);
    const bool isConverted = preferred == QImage::Format_RGB888 && !covers.isEmpty();
    QImage image = blankPicture(width, height, isConverted ? preferred : QImage::Format_ARGB32_Premultiplied);
    if (image.isNull()) {
        if (width > 0 && height > 0)
            qWarning("No memory for a picture of %d x %d px", width, height);
        return image;
    }
    if (isConverted) {
        renderColours(covers, scene, image);
    } else {
        QPainter painter(&image);
        scene->render(&painter);
        painter.end();
        if (preferred == QImage::Format_RGB32 && isCovered(image.rect(), covers))
            image.reinterpretAsFormat(preferred);
    }
    return image;
}

bool saveScene(QGraphicsScene* scene, const QString& fileName, int quality) {
    const QByteArray suffix = QFileInfo(fileName).suffix().toLower().toLatin1();
    QImage::Format format = QImage::Format_ARGB32_Premultiplied;
    if (suffix == "jpg" || suffix == "jpeg")
        format = QImage::Format_RGB888;
    else if (suffix == "bmp")
        format = QImage::Format_RGB32;
    return writePicture(renderedScene(scene, format), fileName, quality);
}

bool writePicture(const QImage& picture, const QString& fileName, int quality) {
    const auto write = [&](QIODevice& file) {
        QImageWriter writer(&file, QFileInfo(fileName).suffix().toLatin1());
        writer.setQuality(quality);
        try {
            return writer.write(picture) ? QString() : writer.errorString();
        } catch (const std::bad_alloc&) {
            return QStringLiteral("no memory");
        }
    };
    return platform::replaceFile(fileName, write, platform::Disk::LetItFollow).isEmpty();
}
