// SPDX-License-Identifier: Apache-2.0
#include "live/tileitem.h"

#include <QGraphicsScene>
#include <QPainter>
#include <QStyleOptionGraphicsItem>
#include <QWidget>
#include <algorithm>
#include <cmath>
#include <utility>

namespace {

// Places that differ by less are the same, device px: a scrolled view reckons its places anew.
constexpr double kSamePlace = 1e-6;

bool isShown(const QImage& picture) {
    return picture.format() == QImage::Format_Grayscale8 || picture.format() == QImage::Format_RGB888 ||
           picture.format() == QImage::Format_RGB32;
}

/// None but for a picture that is moved and scaled, alike in both directions.
std::optional<Placement> placementOf(const QTransform& transform, QPointF offset) {
    const double scale = cleanScale(transform.m11());
    if (transform.type() > QTransform::TxScale || !(scale > 0) ||
        std::abs(transform.m11() - transform.m22()) > 1e-9 * scale)
        return {};
    const QPointF origin = transform.map(offset);
    if (!std::isfinite(scale) || !std::isfinite(origin.x()) || !std::isfinite(origin.y()))
        return {};
    return Placement{scale, origin};
}

QRectF areaOf(const Placement& placement, QSize size) {
    return {placement.origin, QSizeF(size) * placement.scale};
}

/// The pixels of `visible` whose centres lie in `area`: as Qt draws pixmaps, so neighbours leave no gap.
QRect pixelsIn(const QRectF& area, const QRect& visible) {
    const auto first = [](double edge, int from, int behind) {
        return int(std::clamp(std::ceil(edge - 0.5 - kSamePlace), double(from), double(behind)));
    };
    const int left = visible.left();
    const int top = visible.top();
    const int right = left + visible.width();
    const int bottom = top + visible.height();
    return {QPoint(first(area.left(), left, right), first(area.top(), top, bottom)),
            QPoint(first(area.right(), left, right) - 1, first(area.bottom(), top, bottom) - 1)};
}

bool isSame(const QRectF& a, const QRectF& b) {
    return std::abs(a.left() - b.left()) < kSamePlace && std::abs(a.top() - b.top()) < kSamePlace &&
           std::abs(a.right() - b.right()) < kSamePlace && std::abs(a.bottom() - b.bottom()) < kSamePlace;
}

}  // namespace

TileItem::TileItem(const QPixmap& pixmap, std::shared_ptr<TileGroup> tilesOfScene)
    : QGraphicsPixmapItem(pixmap), group(std::move(tilesOfScene)) {
    if (!group)
        group = std::make_shared<TileGroup>();
    group->push_back(this);
}

TileItem::~TileItem() {
    group->erase(std::remove(group->begin(), group->end(), this), group->end());
}

QVariant TileItem::itemChange(GraphicsItemChange change, const QVariant& value) {
    // The last one that came lies above the others.
    if (change == ItemSceneHasChanged && scene()) {
        group->erase(std::remove(group->begin(), group->end(), this), group->end());
        group->push_back(this);
    }
    return QGraphicsPixmapItem::itemChange(change, value);
}

void TileItem::paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) {
    const QTransform world = painter->worldTransform();
    const QTransform device = painter->deviceTransform();
    const auto placement = placementOf(device, offset());
    const bool isPlain = painter->opacity() >= 1.0 && !(option->state & QStyle::State_Selected) &&
                         painter->compositionMode() == QPainter::CompositionMode_SourceOver;
    if (!widget || !placement || !isPlain || !world.isInvertible()) {
        QGraphicsPixmapItem::paint(painter, option, widget);
        return;
    }
    // From the widget's px to those of what is painted on: a window, with the widget somewhere in it, or a
    // picture; with more than one of its px for one of the widget's on some screens.
    const QTransform widgetToDevice = world.inverted() * device;
    if (widgetToDevice.type() > QTransform::TxScale) {
        QGraphicsPixmapItem::paint(painter, option, widget);
        return;
    }
    const QRect visible = widgetToDevice.mapRect(QRectF(widget->rect()))
                              .adjusted(kSamePlace, kSamePlace, -kSamePlace, -kSamePlace)
                              .toAlignedRect();
    const QRect part = pixelsIn(areaOf(*placement, pixmap().size()), visible);
    if (part.isEmpty())
        return;
    if (!makeScreenPicture(part, device, *placement)) {
        QGraphicsPixmapItem::paint(painter, option, widget);
        return;
    }
    // Pixel on pixel.
    painter->setWorldTransform(QTransform::fromTranslate(part.x(), part.y()) * widgetToDevice.inverted());
    painter->drawImage(QPoint(), screen.image());
    painter->setWorldTransform(world);
}

void TileItem::follow(const QImage& picture, int rows) {
    if (rows == 0) {
        isFollowing = shown.key != 0 && shown.key == pixmap().cacheKey();
        // Whatever comes of it, the kept picture is not that of the pixmap any more.
        shown.key = isFollowing ? 0 : shown.key;
    }
    if (isFollowing)
        screen.follow(picture, rows);
}

QRect TileItem::ownPixels(const QTransform& toDevice, const QRect& visible) const {
    const auto placement = placementOf(toDevice, offset());
    const bool isOwnWay = placement && !isSelected() && isShown(pixmap().toImage());
    return isOwnWay ? pixelsIn(areaOf(*placement, pixmap().size()), visible) : QRect();
}

bool TileItem::makeScreenPicture(const QRect& part, const QTransform& deviceTransform,
                                 const Placement& placement) {
    wanted.placement = {placement.scale, placement.origin - part.topLeft()};
    wanted.size = part.size();
    wanted.key = pixmap().cacheKey();
    wanted.places.clear();
    wanted.neighbours.clear();
    wanted.places.push_back(
        {areaOf(wanted.placement, pixmap().size()), placement.scale, pixmap().size(), heightOf(*this)});
    if (placement.scale < 1)
        findNeighbours(deviceTransform, part.topLeft());

    const bool isInPlace = isSameView();
    if (isInPlace)
        wanted.placement = shown.placement;  // to the last bit: its tables serve again
    const bool isNew = !isInPlace || wanted.key != shown.key;
    if (isNew) {
        const QImage picture = pixmap().toImage();  // shares its pixels
        const bool isThere = isInPlace && screen.isOf(picture);
        if (!isShown(picture) ||
            (!isThere && screen.of(picture, wanted.placement, QRect(QPoint(), part.size())).isNull())) {
            shown.size = QSize();
            return false;
        }
        ++made;
        followed += isThere ? 1 : 0;
        if (!isInPlace)
            seams.plan(wanted.size, wanted.places);
        seams.take(0, picture);
    }
    bool isRepainted = isNew;
    for (size_t i = 0; i < wanted.neighbours.size(); ++i) {
        if (isInPlace && wanted.neighbours[i].key == shown.neighbours[i].key)
            continue;
        seams.take(int(i) + 1, wanted.neighbours[i].tile->pixmap().toImage());
        isRepainted = true;
    }
    if (isRepainted && !seams.isEmpty())
        seams.paint(screen.image());
    std::swap(shown, wanted);
    return true;
}

void TileItem::findNeighbours(const QTransform& deviceTransform, const QPoint& corner) {
    const QRectF part(QPointF(), QSizeF(wanted.size));
    const QTransform fromScene = sceneTransform().inverted() * deviceTransform;
    for (const TileItem* tile : *group) {
        if (tile == this || tile->scene() != scene() || !tile->isVisible() || tile->effectiveOpacity() < 1.0)
            continue;
        const auto placement = placementOf(tile->sceneTransform() * fromScene, tile->offset());
        if (!placement)
            continue;
        const QRectF area = areaOf({placement->scale, placement->origin - corner}, tile->pixmap().size());
        if (!area.intersects(part) || !isShown(tile->pixmap().toImage()))
            continue;
        wanted.places.push_back({area, placement->scale, tile->pixmap().size(), heightOf(*tile)});
        wanted.neighbours.push_back({tile, tile->pixmap().cacheKey()});
    }
}

/// How many of the tiles lie below: of the same z the later one lies above, as the scene has it.
int TileItem::heightOf(const TileItem& tile) const {
    bool isEarlier = true;
    return int(std::count_if(group->begin(), group->end(), [&](const TileItem* other) {
        isEarlier = isEarlier && other != &tile;
        return other->zValue() < tile.zValue() || (isEarlier && other->zValue() <= tile.zValue());
    }));
}

bool TileItem::isSameView() const {
    if (shown.size != wanted.size ||
        std::abs(shown.placement.scale - wanted.placement.scale) > 1e-12 * wanted.placement.scale ||
        shown.places.size() != wanted.places.size())
        return false;
    for (size_t i = 0; i < wanted.places.size(); ++i) {
        if (!isSame(shown.places[i].area, wanted.places[i].area) ||
            shown.places[i].size != wanted.places[i].size ||
            shown.places[i].height != wanted.places[i].height)
            return false;
    }
    for (size_t i = 0; i < wanted.neighbours.size(); ++i) {
        if (shown.neighbours[i].tile != wanted.neighbours[i].tile)
            return false;
    }
    return true;
}
