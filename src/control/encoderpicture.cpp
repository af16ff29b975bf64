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

std::optional<Cover> coverOf(QGraphicsItem* item, const QRectF& area) {
    auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item);
    // A selected tile is painted with a frame around it.
    if (!tile || tile->isSelected() || (tile->flags() & QGraphicsItem::ItemHasNoContents) != 0 ||
        tile->parentItem() || tile->graphicsEffect() || tile->effectiveOpacity() < 1 ||
        tile->sceneTransform().type() > QTransform::TxTranslate)
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

void copyTiles(const QVector<Cover>& covers, QImage& image) {
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

/// Paints a part of the scene as scenePicture() does and puts its colours into the picture.
void paintAsElsewhere(QGraphicsScene* scene, const QRect& part, QImage& image) {
    QImage patch(part.size(), QImage::Format_ARGB32_Premultiplied);
    if (patch.isNull())
        return;
    patch.fill(Qt::transparent);
    {
        QPainter painter(&patch);
        scene->render(&painter, patch.rect(), QRectF(part).translated(scene->sceneRect().topLeft()));
    }
    cv::Mat whole = pixelsOf(image, CV_8UC3);
    cv::Mat to = whole(rectOf(part));
    cv::cvtColor(pixelsOf(patch, CV_8UC4), to, cv::COLOR_BGRA2RGB);
}

/// Puts the tiles' colours into an RGB888 picture of the scene, and paints what is over them.
void renderColours(const QVector<Cover>& covers, QGraphicsScene* scene, QImage& image) {
    copyTiles(covers, image);
    if (scene->items().size() == covers.size())
        return;
    QVector<QRect> places;
    {
        HiddenTiles tiles(covers);
        tiles.hide();
        paintScene(scene, image);
        places = delicatePlaces(scene);
    }
    for (const QRect& place : qAsConst(places))
        paintAsElsewhere(scene, place & image.rect(), image);
}

}  // namespace

ScenePicture encoderPicture(QGraphicsScene* scene, QImage::Format preferred) {
    if (preferred != QImage::Format_RGB888 && preferred != QImage::Format_RGB32)
        return scenePicture(scene);
    const QVector<Cover> covers = coversOf(*scene);
    if (preferred == QImage::Format_RGB888 && !covers.isEmpty() && !hasEffects(*scene)) {
        ScenePicture picture = blankScenePicture(*scene, preferred);
        if (!picture.image.isNull())
            renderColours(covers, scene, picture.image);
        return picture;
    }
    ScenePicture picture = scenePicture(scene);
    if (preferred == QImage::Format_RGB32 && isCovered(picture.image.rect(), covers))
        picture.image.reinterpretAsFormat(preferred);
    return picture;
}
