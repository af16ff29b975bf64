// SPDX-License-Identifier: Apache-2.0
/// Whether figures drawn on the composite measure what the sheet under the cameras is known to be.
#pragma once

#include "accuracystation.h"

/// How far measures are off, in parts of what they may be off by: 1 is the limit.
struct Lengths {
    enum Kind { Length, Angle, Area, Radius, KindCount };

    std::array<Spread, KindCount> kinds;
    std::array<Spread, KindCount> acrossUneven;  ///< those across seams, measured without the seams' steps
    Spread pixels;                               ///< lengths and radii, px
    Spread unevenPixels;                         ///< those across seams, without the seams' steps, px
    Spread digits;                               ///< the same as shown, in units of the last digit, at worst
    int across = 0;                              ///< figures that reach over a seam
    int beyond = 0;                              ///< figures that are off by more than they may
    Spread marks;                                ///< lines between the ringed marks on seams, px
    Spread marksShare;                           ///< the same in parts of their limits
    int atSeams = 0;                             ///< points whose mark a seam cuts
    int missedMarks = 0;                         ///< lines between ringed marks that could not be had
    int missed = 0;                              ///< points where nothing was found to snap to
};

/// Two hundred figures on the composite that `station` joined last: a fourth of each kind, a third of them
/// across seams where there are any. Their points are put to crossings of the grid near random places by
/// snapping on the composite as the tools do it, up to 3 px beside which the hand clicks; what they measure
/// is what their captions say in the window's scene, in mm. The same in every run.
///
/// A length or a radius may be off by 0.1 % or half a px, an area by 0.2 % or half a px along half its edge,
/// an angle by what such errors across its two legs turn them; smooth by half of that, by the nearest pixel
/// by 0.6 of it. Points may lie on seams; and there is a line between any two of the ringed marks there.
Lengths measureLengths(Station& station, const QImage& composite);
