// SPDX-License-Identifier: Apache-2.0
#include "valuekeeper.h"

#include <algorithm>
#include <cmath>

namespace kvgen {

namespace {

size_t at(Parameter parameter) {
    return static_cast<size_t>(parameter);
}

/// How far a camera's steps may take a value from the wanted one, in our units, besides a share of it: gains
/// go in steps of up to 1 dB. What is further off the camera has made of it for reasons of its own.
constexpr double kStep = 1.0 / 16;

double stepOf(Parameter parameter) {
    switch (parameter) {
        case Parameter::BlackLevel:
        case Parameter::AeTarget:
            return 3;  // a feature that counts in %
        case Parameter::Gain:
            return 1;
        case Parameter::Delay:
            return 10;
        case Parameter::Gamma:
        case Parameter::Contrast:
        case Parameter::Saturation:
            return 0.05;
        case Parameter::Exposure:
            return 0.5;
        case Parameter::AdvancedGain:
        case Parameter::Agc:
        case Parameter::Aec:
        case Parameter::AntiFlicker:
        case Parameter::MirrorX:
        case Parameter::MirrorY:
        case Parameter::Highspeed:
        case Parameter::SnapMode:
            return 0;
    }
    return 0;
}

bool isRounded(Parameter parameter, double wanted, double has) {
    const double step = stepOf(parameter);
    return std::abs(has - wanted) <= (step > 0 ? std::max(step, std::abs(wanted) * kStep) : 0);
}

}  // namespace

const std::array<Parameter, kParameters>& ValueKeeper::pushOrder() {
    // Automatics before what they would overrule, the mains before the exposure that is rounded to it.
    static const std::array<Parameter, kParameters> order{
        Parameter::AntiFlicker, Parameter::Aec,        Parameter::Agc,          Parameter::AeTarget,
        Parameter::Exposure,    Parameter::Gain,       Parameter::AdvancedGain, Parameter::Gamma,
        Parameter::Contrast,    Parameter::Saturation, Parameter::BlackLevel,   Parameter::MirrorX,
        Parameter::MirrorY,     Parameter::Highspeed,  Parameter::Delay,        Parameter::SnapMode};
    return order;
}

bool ValueKeeper::isLacking(CameraFeatures& features, Parameter parameter) const {
    return !features.has(parameter) && !isInLibrary(features, parameter);
}

bool ValueKeeper::isInLibrary(CameraFeatures& features, Parameter parameter) const {
    if (features.has(parameter) || !mappingOf(parameter).canBeDoneInLibrary)
        return false;
    const InLibrary& asked = configuration_.inLibrary;
    switch (parameter) {
        case Parameter::Gamma:
            return asked.gamma;
        case Parameter::Contrast:
            return asked.contrast;
        case Parameter::Saturation:
            return asked.saturation;
        case Parameter::BlackLevel:
            return asked.blackLevel;
        case Parameter::MirrorX:
        case Parameter::MirrorY:
            return asked.mirrors;
        case Parameter::AdvancedGain:
        case Parameter::Gain:
        case Parameter::Agc:
        case Parameter::Aec:
        case Parameter::Exposure:
        case Parameter::AeTarget:
        case Parameter::AntiFlicker:
        case Parameter::Highspeed:
        case Parameter::Delay:
        case Parameter::SnapMode:
            return false;
    }
    return false;
}

/// Only what isInLibrary() lets in comes here.
void ValueKeeper::tune(Parameter parameter, double value) {
    if (parameter == Parameter::Gamma)
        tuning_.gamma = value;
    else if (parameter == Parameter::Contrast)
        tuning_.contrast = value;
    else if (parameter == Parameter::Saturation)
        tuning_.saturation = value;
    else if (parameter == Parameter::BlackLevel)
        tuning_.blackLevel = static_cast<int>(value);
    else if (parameter == Parameter::MirrorX)
        tuning_.mirrorX = value != 0;
    else if (parameter == Parameter::MirrorY)
        tuning_.mirrorY = value != 0;
}

Status ValueKeeper::set(CameraFeatures& features, Parameter parameter, double value) {
    Status status = write(features, parameter, value);
    if (status == Status::Disconnected)
        wanted_[parameter] = value;
    else if (status == Status::Ok && value == 0)
        status = takeOver(features, parameter);
    return status;
}

/// From now on the exposure, the gain is the operator's again: what the automatic has found.
Status ValueKeeper::takeOver(CameraFeatures& features, Parameter automatic) {
    if (automatic != Parameter::Aec && automatic != Parameter::Agc)
        return Status::Ok;
    const Parameter parameter = automatic == Parameter::Aec ? Parameter::Exposure : Parameter::Gain;
    double found = 0;
    const Status status = features.has(parameter) ? get(features, parameter, found) : Status::Unsupported;
    if (status == Status::Ok && wanted_[parameter] != found) {
        wanted_[parameter] = found;
        readBack_[at(parameter)] = found;
    }
    return status == Status::Disconnected ? status : Status::Ok;
}

Status ValueKeeper::readAutomatic(CameraFeatures& features, ParameterValues& values) {
    for (const Parameter automatic : {Parameter::Aec, Parameter::Agc}) {
        const Parameter parameter = automatic == Parameter::Aec ? Parameter::Exposure : Parameter::Gain;
        double isOn = 0;
        double found = 0;
        Status status = features.read(automatic, isOn);
        if (status == Status::Ok && isOn != 0)
            status = features.read(parameter, found);
        if (status == Status::Disconnected)
            return status;
        if (status == Status::Ok && isOn != 0)
            values[parameter] = found;
    }
    return Status::Ok;
}

Status ValueKeeper::write(CameraFeatures& features, Parameter parameter, double value) {
    if (isInLibrary(features, parameter)) {
        const auto accepted = kvgen::accepted(parameter, value);
        if (!accepted)
            return Status::BadArgument;
        tune(parameter, *accepted);
        wanted_[parameter] = *accepted;
        return Status::Ok;
    }
    Status status = features.write(parameter, value);
    if (status != Status::Ok)
        return status;
    wanted_[parameter] = value;
    readBack_[at(parameter)].reset();
    // Brought into the camera's range, or the automatic's: what the camera has is what there is to be seen.
    if (!features.isAsAsked())
        return Status::Ok;
    double has = 0;
    status = features.read(parameter, has);
    if (status == Status::Ok && isRounded(parameter, value, has))
        readBack_[at(parameter)] = has;
    return status == Status::Disconnected ? status : Status::Ok;
}

Status ValueKeeper::get(CameraFeatures& features, Parameter parameter, double& value) {
    if (isInLibrary(features, parameter)) {
        const Tuning& now = tuning_;
        value = parameter == Parameter::Gamma        ? now.gamma
                : parameter == Parameter::Contrast   ? now.contrast
                : parameter == Parameter::Saturation ? now.saturation
                : parameter == Parameter::BlackLevel ? now.blackLevel
                : parameter == Parameter::MirrorX    ? (now.mirrorX ? 1 : 0)
                                                     : (now.mirrorY ? 1 : 0);
        return Status::Ok;
    }
    const Status status = features.read(parameter, value);
    const auto& wanted = wanted_[parameter];
    // The very number that the camera said after the writing, so nobody has changed anything.
    if (status == Status::Ok && wanted && readBack_[at(parameter)] == value)
        value = *wanted;
    return status;
}

bool ValueKeeper::isAlready(CameraFeatures& features, Parameter parameter, double value) {
    double now = 0;
    return wanted_[parameter] == value && get(features, parameter, now) == Status::Ok && now == value;
}

void ValueKeeper::want(const ParameterValues& values) {
    wanted_ = values;
    readBack_.fill(std::nullopt);
    tuning_ = Tuning();
}

}  // namespace kvgen
