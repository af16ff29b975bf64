// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QVector>

#include <optional>

namespace kvgen {

/// What the operations of the library get and set, one for each pair, in the header's order.
enum class Parameter {
    Gamma,
    Contrast,
    Saturation,
    BlackLevel,
    AdvancedGain,
    Gain,
    Agc,
    Aec,
    Exposure,
    AeTarget,
    AntiFlicker,
    MirrorX,
    MirrorY,
    Highspeed,
    Delay,
    SnapMode,
};
constexpr int kParameters = 16;

/// How a feature's value and ours are turned into each other. Written v (ours) and f (the feature's).
enum class Conversion {
    Same,             ///< f = v
    Reciprocal,       ///< f = 1 / v: our gamma above 1 lifts the middle tones, the feature's lowers them
    Factor,           ///< f = v; 100 v where the feature counts in % or is an integer that reaches 100
    GreyLevels,       ///< f = v; v / 2.55 where the feature counts in %
    GainFactor,       ///< f = 20 log10(v / 16) dB, v = 0 as 1; an integer that is not in dB: f = v
    GainDoublings,    ///< f = 20 log10(2) v dB
    ExposureUnits,    ///< f = v * exposure unit, µs
    OfFullScale,      ///< v 0 ... 255 over the feature's scale: 1.0, 100 (%), or 255, by its maximum and unit
    OffOrContinuous,  ///< an enumeration: "Off" or "Continuous"
    OffOrOn,          ///< an enumeration: "Off" or "On"; v = 1 or 2
    Switch,           ///< a Boolean
    PauseOfRate,      ///< f = 1 / (1 / base rate + v ms)
    FastestRate,      ///< on: the greatest rate; off: the base rate
    MainsPulses,      ///< no feature of its own: the exposure becomes a multiple of 10 ms or 8.33 ms
};

struct Candidate {
    QByteArray feature;  ///< GenICam name
    Conversion conversion;
    /// A Boolean that is switched on first where there is one, or empty; "A|B": the first one that there is.
    QByteArray enabledBy;
    /// "Selector=Entry" that is chosen first where there is one, or empty; "Selector=Entry|Entry": the first
    /// entry that the camera has.
    QByteArray selector;
    bool needsSelector = false;  ///< does not serve where the selector or its entry is missing
};

struct Mapping {
    Parameter parameter;
    QByteArray name;                ///< as in the operations: "Gamma" of CameraGetGamma
    QVector<Candidate> candidates;  ///< the first one that the camera has and lets be written serves
    bool canBeDoneInLibrary;        ///< where the camera has none and the configuration asks for it
    QByteArray remark;              ///< who lacks it, for people
};

/// The whole table, in the order of Parameter.
const QVector<Mapping>& mappings();
const Mapping& mappingOf(Parameter parameter);
/// The table as Markdown, as docs/genicam.md shows it.
QByteArray mappingsAsMarkdown();

/// A value as the parameter can have it, whatever the camera: brought into its range, whole where it is an
/// integer, 0 or 1 where it is a Boolean. None: not a number, or no valid choice (anti-flicker, snap mode).
std::optional<double> accepted(Parameter parameter, double value);
/// Whether the operations have it as a Boolean, as a double; else it is an int32_t.
bool isSwitch(Parameter parameter);
bool isReal(Parameter parameter);

}  // namespace kvgen
