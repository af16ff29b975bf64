// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QCheckBox>
#include <QSignalBlocker>
#include <QSlider>

/// Shows a value without sending it back to where it comes from.
template <typename Control, typename Set>
void showQuietly(Control* control, const Set& set) {
    const QSignalBlocker blocker(control);
    set(control);
}

inline void showOnSlider(QSlider* slider, int value) {
    showQuietly(slider, [value](QSlider* quiet) { quiet->setValue(value); });
}

inline void showOnBox(QCheckBox* box, bool checked) {
    showQuietly(box, [checked](QCheckBox* quiet) { quiet->setChecked(checked); });
}
