// SPDX-License-Identifier: Apache-2.0
#include "mapping.h"

#include <QByteArrayList>

#include <algorithm>
#include <cmath>
#include <limits>

namespace kvgen {

namespace {

/// Our values of a parameter.
struct Range {
    enum class Kind { Real, Whole, Switch, Choice };
    Kind kind;
    double low;
    double high;
};

constexpr double kMost = std::numeric_limits<int32_t>::max();

Range rangeOf(Parameter parameter) {
    switch (parameter) {
        case Parameter::Gamma:
            return {Range::Kind::Real, 0.1, 10};
        case Parameter::Contrast:
        case Parameter::Saturation:
            return {Range::Kind::Real, 0, 10};
        case Parameter::BlackLevel:
        case Parameter::AeTarget:
            return {Range::Kind::Whole, 0, 255};
        case Parameter::AdvancedGain:
            return {Range::Kind::Whole, 0, 3};
        // Cameras with numbers of their own for the gain go beyond our 255.
        case Parameter::Gain:
            return {Range::Kind::Whole, 0, 65535};
        case Parameter::Exposure:
            return {Range::Kind::Whole, 1, kMost};
        case Parameter::Delay:
            return {Range::Kind::Whole, 0, 60000};
        case Parameter::AntiFlicker:
            return {Range::Kind::Choice, 0, 2};
        case Parameter::SnapMode:
            return {Range::Kind::Choice, 1, 2};
        case Parameter::Agc:
        case Parameter::Aec:
        case Parameter::MirrorX:
        case Parameter::MirrorY:
        case Parameter::Highspeed:
            break;
    }
    return {Range::Kind::Switch, 0, 1};
}

QVector<Mapping> table() {
    const QByteArray rateSwitch = "AcquisitionFrameRateEnable|AcquisitionFrameRateEnabled";
    const auto rates = [&rateSwitch](Conversion conversion) {
        return QVector<Candidate>{{"AcquisitionFrameRate", conversion, rateSwitch, {}},
                                  {"AcquisitionFrameRateAbs", conversion, rateSwitch, {}}};
    };
    const auto exposures = [](Conversion conversion) {
        return QVector<Candidate>{{"ExposureTime", conversion, {}, {}},
                                  {"ExposureTimeAbs", conversion, {}, {}},
                                  {"ExposureTimeRaw", conversion, {}, {}}};
    };
    return {
        {Parameter::Gamma,
         "Gamma",
         {{"Gamma", Conversion::Reciprocal, "GammaEnable", "GammaSelector=User"}},
         true,
         "simple cameras"},
        {Parameter::Contrast, "Contrast", {}, true, "all: there is no standard feature"},
        {Parameter::Saturation,
         "Saturation",
         {{"Saturation", Conversion::Factor, "SaturationEnable", {}}},
         true,
         "monochrome cameras and those that send Bayer patterns"},
        {Parameter::BlackLevel,
         "BlackLevel",
         {{"BlackLevel", Conversion::GreyLevels, {}, "BlackLevelSelector=All"},
          {"BlackLevelRaw", Conversion::GreyLevels, {}, "BlackLevelSelector=All"}},
         true,
         "simple cameras"},
        {Parameter::AdvancedGain,
         "AdvancedGain",
         {{"DigitalShift", Conversion::Same, {}, {}},
          {"Gain", Conversion::GainDoublings, {}, "GainSelector=DigitalAll", true}},
         false,
         "cameras without a digital gain of its own"},
        {Parameter::Gain,
         "Gain",
         {{"Gain", Conversion::GainFactor, {}, "GainSelector=AnalogAll|All"},
          {"GainRaw", Conversion::Same, {}, "GainSelector=AnalogAll|All"}},
         false,
         "hardly any; where only GainRaw is there, the numbers are the camera's own"},
        {Parameter::Agc, "AGC", {{"GainAuto", Conversion::OffOrContinuous, {}, {}}}, false, "many"},
        {Parameter::Aec, "AEC", {{"ExposureAuto", Conversion::OffOrContinuous, {}, {}}}, false, "many"},
        {Parameter::Exposure, "Exposure", exposures(Conversion::ExposureUnits), false, "hardly any"},
        {Parameter::AeTarget,
         "AETarget",
         {{"AutoTargetBrightness", Conversion::OfFullScale, {}, {}},
          {"AutoTargetValue", Conversion::OfFullScale, {}, {}},
          {"AutoExposureTargetGreyValue", Conversion::OfFullScale, {}, {}}},
         false,
         "cameras without automatics, and makers with a name of their own for it"},
        {Parameter::AntiFlicker, "AntiFlicker", exposures(Conversion::MainsPulses), false,
         "none that has an exposure; the camera's own automatic exposure does not keep to it"},
        {Parameter::MirrorX, "MirrorX", {{"ReverseX", Conversion::Switch, {}, {}}}, true, "some"},
        {Parameter::MirrorY, "MirrorY", {{"ReverseY", Conversion::Switch, {}, {}}}, true, "many"},
        {Parameter::Highspeed, "Highspeed", rates(Conversion::FastestRate), false,
         "cameras that do not say their greatest rate"},
        {Parameter::Delay, "Delay", rates(Conversion::PauseOfRate), false, "cameras of a fixed rate"},
        {Parameter::SnapMode,
         "SnapMode",
         {{"TriggerMode", Conversion::OffOrOn, {}, "TriggerSelector=FrameStart"}},
         false,
         "hardly any"},
    };
}

const char* textOf(Conversion conversion) {
    switch (conversion) {
        case Conversion::Same:
            return "the same number";
        case Conversion::Reciprocal:
            return "1 / value";
        case Conversion::Factor:
            return "the same number; in % where the feature is";
        case Conversion::GreyLevels:
            return "grey levels; in % of 255 where the feature is";
        case Conversion::GainFactor:
            return "20 log10(value / 16) dB; the same number where it is not in dB";
        case Conversion::GainDoublings:
            return "6.02 dB a step";
        case Conversion::ExposureUnits:
            return "value x exposure unit, in us";
        case Conversion::OfFullScale:
            return "value / 255 of the feature's full scale";
        case Conversion::OffOrContinuous:
            return "Off, Continuous";
        case Conversion::OffOrOn:
            return "1 Off, 2 On";
        case Conversion::Switch:
            return "off, on";
        case Conversion::PauseOfRate:
            return "1 / (1 / base rate + value in ms)";
        case Conversion::FastestRate:
            return "on: the greatest rate";
        case Conversion::MainsPulses:
            return "the exposure in multiples of 10 ms (1) or 8.33 ms (2)";
    }
    return "";
}

QByteArray textOf(const Candidate& candidate) {
    QByteArray text = '`' + candidate.feature + '`';
    QByteArrayList with;
    if (!candidate.selector.isEmpty())
        with.append('`' + QByteArray(candidate.selector).replace("=", "` = ").replace("|", " or "));
    if (!candidate.enabledBy.isEmpty())
        with.append('`' + QByteArray(candidate.enabledBy).replace("|", "` or `") + "` on");
    if (!with.isEmpty())
        text += " (" + with.join(", ") + ')';
    return text;
}

}  // namespace

const QVector<Mapping>& mappings() {
    // Never freed: keepers still ask when the process destroys its static objects.
    static const auto* const all = new QVector<Mapping>(table());
    return *all;
}

const Mapping& mappingOf(Parameter parameter) {
    return mappings()[static_cast<int>(parameter)];
}

QByteArray mappingsAsMarkdown() {
    QByteArray text =
        "| Parameter | Features, the first that is there | How the numbers become the feature's "
        "| Else by the library | Who lacks it |\n"
        "|---|---|---|---|---|\n";
    for (const Mapping& mapping : mappings()) {
        QByteArrayList features;
        QByteArrayList conversions;
        for (const Candidate& candidate : mapping.candidates) {
            features.append(textOf(candidate));
            const QByteArray conversion = textOf(candidate.conversion);
            if (!conversions.contains(conversion))
                conversions.append(conversion);
        }
        text += "| " + mapping.name + " | " + (features.isEmpty() ? "none" : features.join(", ")) + " | " +
                conversions.join("; ") + " | " + (mapping.canBeDoneInLibrary ? "yes" : "no") + " | " +
                mapping.remark + " |\n";
    }
    return text;
}

std::optional<double> accepted(Parameter parameter, double value) {
    if (std::isnan(value))
        return std::nullopt;
    const Range range = rangeOf(parameter);
    switch (range.kind) {
        case Range::Kind::Real:
            return std::clamp(value, range.low, range.high);
        case Range::Kind::Whole:
            return std::round(std::clamp(value, range.low, range.high));
        case Range::Kind::Switch:
            return value == 0 ? 0 : 1;
        case Range::Kind::Choice:
            break;
    }
    if (value < range.low || value > range.high || value != std::floor(value))
        return std::nullopt;
    return value;
}

bool isSwitch(Parameter parameter) {
    return rangeOf(parameter).kind == Range::Kind::Switch;
}

bool isReal(Parameter parameter) {
    return rangeOf(parameter).kind == Range::Kind::Real;
}

}  // namespace kvgen
