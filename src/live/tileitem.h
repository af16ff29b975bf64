// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGraphicsPixmapItem>
#include <memory>
#include <optional>
#include <vector>

#include "live/screenpicture.h"
#include "live/tileseams.h"

class TileItem;

/// The tiles of one scene, in the order in which they came into it.
using TileGroup = std::vector<TileItem*>;

/// A tile's picture in the scene. In a view it is drawn as a screen should show it: below scale 1 each device
/// pixel is the mean of what lies in it, from 1 on the picture's own pixel; a pixel that several tiles share
/// is the mean over all of them. Everything else is as in QGraphicsPixmapItem, also how a scene is rendered
/// into a picture that is saved. GUI thread.
///
/// Which of the tiles lies above is known by their z and the order in which they came: stackBefore() is not
/// looked at.
///
/// What was drawn is kept: as long as picture, place and zoom are the same, it is drawn again.
class TileItem : public QGraphicsPixmapItem {
public:
    /// `tilesOfScene` knows the tiles that are to join without a seam; this one adds itself and goes with its
    /// end. Without one it stands alone.
    explicit TileItem(const QPixmap& pixmap, std::shared_ptr<TileGroup> tilesOfScene = {});
    ~TileItem() override;

    void paint(QPainter* painter, const QStyleOptionGraphicsItem* option, QWidget* widget) override;

    /// For a picture that is to be the next pixmap, sharing its pixels, while it is being written from the
    /// top: `rows` are ready, first none. What the view shows of it is worked out while it is in the
    /// processor's cache, if the pixmap of now was painted and thus the next one probably is. A picture that
    /// does not become the pixmap does no harm.
    void follow(const QImage& picture, int rows);

    /// The pixels of `visible` (device px) that paint() fills when this is the item's transform to the
    /// device, joined tiles leave none between them. Empty when it is painted as a QGraphicsPixmapItem is.
    QRect ownPixels(const QTransform& toDevice, const QRect& visible) const;

    /// How often what a view shows was worked out anew, for all of it.
    int madeCount() const { return made; }
    /// How often of them it was there already, by follow().
    int followedCount() const { return followed; }

protected:
    QVariant itemChange(GraphicsItemChange change, const QVariant& value) override;

private:
    /// A tile that has a share in the pixels of this one.
    struct Neighbour {
        const TileItem* tile;
        qint64 key;  // of its pixmap
    };
    /// What the kept picture shows, and where.
    struct View {
        Placement placement;                     // from the corner of the part that is shown
        QSize size;                              // of that part, device px
        std::vector<TileSeams::Picture> places;  // of this tile and its neighbours, from that part's corner
        std::vector<Neighbour> neighbours;
        qint64 key = 0;
    };

    bool isSameView() const;
    int heightOf(const TileItem& tile) const;
    void findNeighbours(const QTransform& deviceTransform, const QPoint& corner);
    bool makeScreenPicture(const QRect& part, const QTransform& deviceTransform, const Placement& placement);

    std::shared_ptr<TileGroup> group;
    ScreenPicture screen;
    TileSeams seams;
    View shown;
    View wanted;  // a member for its memory
    bool isFollowing = false;
    int made = 0;
    int followed = 0;
};
