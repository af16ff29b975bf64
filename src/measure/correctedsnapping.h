// SPDX-License-Identifier: Apache-2.0
/// Snapping in pictures that are corrected by the nearest pixel. Pure functions; any thread.
#pragma once

#include <QImage>
#include <QPointF>
#include <QSize>
#include <QTransform>
#include <optional>

#include "measure/snapping.h"

/// As snapIn(), in a picture whose pixel (c, r) is the frame's nearest to where `fromFrame`, frame px to px
/// of the picture, comes from: up to 0.7 px beside its place, which is known. So the frame's own pixels are
/// put together again around the place, the point is looked for among them, and what was found is mapped
/// back: it lies where a correction between pixels would show it.
///
/// Where the transform makes a px of the frame more than eight times larger or smaller, or has no inverse
/// there, it is snapIn(); and where what was found is hardly in the picture.
Snap snapInCorrected(const QImage& picture, const QTransform& fromFrame, QPointF where, double radius);

/// What a correction between pixels would show: grey, `size` px, the first of which is at `corner` in px of
/// the picture, also between two. From the frame's own pixels where `fromFrame` is there and
/// snapInCorrected() uses it, else from the picture's. Beyond the picture its edge goes on.
QImage resampled(const QImage& picture, const std::optional<QTransform>& fromFrame, QPointF corner,
                 QSize size);
