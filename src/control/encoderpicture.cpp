// SPDX-License-Identifier: Apache-2.0
#include "control/encoderpicture.h"

#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QPainter>
#include <QRegion>
#include <QVector>
#include <algorithm>
#include <opencv2/imgproc.hpp>
#include <optional>

#include "control/textplaces.h"

namespace {

/// A tile that covers what is under it: its pixels can be copied instead of painted.
struct Cover {
    QGraphicsPixmapItem* item;
    QImage picture;
    QPoint place;  // px of the saved picture
};

bool isWhole(const QPointF& point) {
    return point == QPointF(point.toPoint());
}

/// Of the formats that tiles have and that let nothing shine through.
bool isOpaque(QImage::Format format) {
    return format == QImage::Format_RGB32 || format == QImage::Format_RGB888 ||
           format == QImage::Format_Grayscale8;
}

std::optional<Cover> coverOf(QGraphicsItem* item, const QRectF& area) {
    auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item);
    // A selected tile is painted with a frame around it.
    if (!tile || tile->isSelected() || (tile->flags() & QGraphicsItem::ItemHasNoContents) != 0 ||
        tile->parentItem() || tile->graphicsEffect() || tile->effectiveOpacity() < 1 ||
        tile->sceneTransform().type() > QTransform::TxTranslate)
        return {};
    const QPointF place = tile->mapToScene(tile->offset()) - area.topLeft();
    QImage picture = tile->pixmap().toImage();
    if (!isWhole(place) || !isOpaque(picture.format()) || picture.devicePixelRatio() != 1)
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

/// The picture's pixels, of one, three or four bytes. Four are blue, green, red, alpha in memory: little
/// endian, as everywhere here.
cv::Mat pixelsOf(const QImage& image) {
    return {image.height(), image.width(), CV_8UC(image.depth() / 8), const_cast<uchar*>(image.constBits()),
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

/// Items with an effect may paint beyond their rectangles, and are missing where a part of the scene is
/// painted that holds none of those.
bool hasEffects(const QGraphicsScene& scene) {
    const auto items = scene.items();
    return std::any_of(items.begin(), items.end(),
                       [](const QGraphicsItem* item) { return item->graphicsEffect() != nullptr; });
}

/// Once hidden, the tiles are not painted as long as this lives.
class HiddenTiles {
public:
    explicit HiddenTiles(const QVector<Cover>& tiles) : covers(tiles) {}
    ~HiddenTiles() { setPainted(true); }
    HiddenTiles(const HiddenTiles&) = delete;
    HiddenTiles& operator=(const HiddenTiles&) = delete;

    void hide() { setPainted(false); }

private:
    void setPainted(bool isPainted) {
        for (const Cover& cover : covers)
            cover.item->setFlag(QGraphicsItem::ItemHasNoContents, !isPainted);
    }

    const QVector<Cover>& covers;
};

/// Copies pixels of a tile into a picture, of three or four bytes each.
void copyPixels(const cv::Mat& from, cv::Mat to) {
    if (from.type() == to.type())
        from.copyTo(to);
    else if (to.channels() == 3)
        cv::cvtColor(from, to, from.channels() == 1 ? cv::COLOR_GRAY2RGB : cv::COLOR_BGRA2RGB);
    else
        cv::cvtColor(from, to, from.channels() == 1 ? cv::COLOR_GRAY2BGRA : cv::COLOR_RGB2BGRA);
}

/// Copies what tiles have of a picture whose corner is `corner` in the saved one.
void copyTiles(const QVector<Cover>& covers, QImage& image, QPoint corner = {}) {
    const cv::Mat whole = pixelsOf(image);
    for (const Cover& cover : covers) {
        const QPoint place = cover.place - corner;
        const QRect part = image.rect() & QRect(place, cover.picture.size());
        if (!part.isEmpty())
            copyPixels(pixelsOf(cover.picture)(rectOf(part.translated(-place))), whole(rectOf(part)));
    }
}

/// Text comes out a shade different in RGB888, and the dashes of a selected item's frame may begin a pixel
/// beside themselves. Where there are some, in px of the picture; asked while the tiles are not painted.
QVector<QRect> delicatePlaces(QGraphicsScene* scene) {
    QVector<QRect> places = textPlaces(scene);
    const QPointF corner = scene->sceneRect().topLeft();
    const auto selected = scene->selectedItems();
    for (const QGraphicsItem* item : selected)
        places.append(item->sceneBoundingRect().translated(-corner).toAlignedRect());
    return places;
}

/// Paints a part of the scene as scenePicture() does and puts its colours into the picture. The tiles are not
/// painted meanwhile.
void paintAsElsewhere(const QVector<Cover>& covers, QGraphicsScene* scene, const QRect& part, QImage& image) {
    QImage patch(part.size(), QImage::Format_ARGB32_Premultiplied);
    if (patch.isNull())
        return;
    patch.fill(Qt::transparent);
    copyTiles(covers, patch, part.topLeft());
    {
        QPainter painter(&patch);
        scene->render(&painter, patch.rect(), QRectF(part).translated(scene->sceneRect().topLeft()));
    }
    cv::Mat to = pixelsOf(image)(rectOf(part));
    cv::cvtColor(pixelsOf(patch), to, cv::COLOR_BGRA2RGB);
}

/// Puts the tiles' colours into a picture of the scene, and paints what is over them.
void renderColours(const QVector<Cover>& covers, QGraphicsScene* scene, QImage& image) {
    copyTiles(covers, image);
    if (scene->items().size() == covers.size())
        return;
    HiddenTiles hidden(covers);
    hidden.hide();
    const PaintableTiles others(*scene);
    paintScene(scene, image);
    if (image.format() != QImage::Format_RGB888)
        return;
    const QVector<QRect> places = delicatePlaces(scene);
    for (const QRect& place : places)
        paintAsElsewhere(covers, scene, place & image.rect(), image);
}

}  // namespace

ScenePicture encoderPicture(QGraphicsScene* scene, QImage::Format preferred) {
    const QVector<Cover> covers = coversOf(*scene);
    const bool isColours = preferred == QImage::Format_RGB888 && !covers.isEmpty() && !hasEffects(*scene);
    ScenePicture picture =
        blankScenePicture(*scene, isColours ? QImage::Format_RGB888 : QImage::Format_ARGB32_Premultiplied);
    if (picture.image.isNull())
        return picture;
    renderColours(covers, scene, picture.image);
    if (preferred == QImage::Format_RGB32 && isCovered(picture.image.rect(), covers))
        picture.image.reinterpretAsFormat(preferred);
    return picture;
}
