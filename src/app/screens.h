// SPDX-License-Identifier: Apache-2.0
#pragma once

class QWidget;

/// How the program looks on screens with smaller pixels than those of 96 dpi, and with which letters. GUI
/// thread.

/// Sizes in the program are px of 96 dpi; Qt scales them, icons included: by the very scale that the
/// desktop's user chose, 1.25 or 1.5, say, and by whole steps where only a screen's millimetres say
/// something. QT_SCALE_FACTOR_ROUNDING_POLICY comes before both. Before the application object.
void prepareScreens();

/// Gives all widgets the letters that the system writes its messages with, where Qt takes others. A default
/// QFont stays what it was, and with it what is written into pictures. After the application object is made.
void useSystemFont();

/// Makes a window that is larger than its screen, both without their frames and bars, smaller: the size that
/// it takes when it is not maximised. Before it is shown.
void fitToScreen(QWidget* window);
