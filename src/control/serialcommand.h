// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

/// A command of the machine controller. What its operands mean depends on the kind.
struct SerialCommand {
    enum class Kind {
        None,  ///< unknown, or operands missing or refused: nothing happens and nothing is shown
        Trigger,
        SetDelay,
        Gamma,
        Contrast,
        Exposure,
        Gain,
        AdvancedGain,
        Save,
    };

    Kind kind = Kind::None;
    int camera = -1;     ///< library index; negative means every camera
    double value = 0.0;  ///< of the five parameter commands: at least 0, perhaps infinite
    int delay = 0;       ///< ms, of SetDelay; below 1 means that nothing changes
    QString echo;        ///< for the status bar
};

/// Reads what has arrived on the serial line. There is no framing: all of it, up to the first NUL, is one
/// command, and its fields are between single spaces, so two spaces make an empty field (0). Any bytes are
/// harmless. Pure; any thread.
SerialCommand parseSerialCommand(const QByteArray& received);

/// The value as a whole number, truncated toward zero; the largest int, or its negative, where it is beyond;
/// 0 for what is not a number.
int wholeValue(double value);
