// SPDX-License-Identifier: Apache-2.0
/// Snapping where tiles meet that show one plane. Pure functions; any thread.
#pragma once

#include <QPointF>
#include <QVector>
#include <optional>

#include "measure/snapping.h"
#include "measure/tilepicture.h"

/// As snapIn(), in what the tiles around `point` show together: half of a mark on a seam is in each, and
/// neither half is a corner. The pictures are put together in the plane, without the seams' steps, as a
/// correction between pixels would show them and with the grey of the tile under the point. Points are scene
/// px as they are seen (a tile's pixel (c, r) from (c, r) to (c + 1, r + 1)); what was found is given where
/// the tile shows it that it lies in. A step of grey that is the seam's alone is no edge.
///
/// Nothing where only one tile is in reach, or where that under the point does not join any other one to
/// within 3 px, or where one that does not join them lies over some of it: then each can be looked at alone.
std::optional<Snap> snapAcrossSeams(const QVector<TilePicture>& tiles, QPointF point, double radius);
