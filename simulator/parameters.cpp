// SPDX-License-Identifier: Apache-2.0
#include "parameters.h"

#include <QJsonValue>

#include <algorithm>
#include <cmath>
#include <limits>

#include "camera/kvcap2.h"

namespace kvsim {

namespace {

void read(const QJsonObject& object, const char* name, double& value) {
    value = object.value(QLatin1String(name)).toDouble(value);
}

void read(const QJsonObject& object, const char* name, int32_t& value) {
    const double number = object.value(QLatin1String(name)).toDouble(value);
    value = static_cast<int32_t>(
        std::clamp<double>(number, std::numeric_limits<int32_t>::min(), std::numeric_limits<int32_t>::max()));
}

void read(const QJsonObject& object, const char* name, bool& value) {
    value = object.value(QLatin1String(name)).toBool(value);
}

/// Calls `visit(name, member)` for every parameter, so that reading and writing cannot disagree.
template <typename P, typename Visit>
void forEach(P& parameters, Visit visit) {
    visit("gamma", parameters.gamma);
    visit("contrast", parameters.contrast);
    visit("saturation", parameters.saturation);
    visit("blackLevel", parameters.blackLevel);
    visit("advancedGain", parameters.advancedGain);
    visit("gain", parameters.gain);
    visit("agc", parameters.agc);
    visit("aec", parameters.aec);
    visit("exposure", parameters.exposure);
    visit("aeTarget", parameters.aeTarget);
    visit("timeout", parameters.timeout);
    visit("antiFlicker", parameters.antiFlicker);
    visit("mirrorX", parameters.mirrorX);
    visit("mirrorY", parameters.mirrorY);
    visit("highspeed", parameters.highspeed);
    visit("delay", parameters.delay);
    visit("snapMode", parameters.snapMode);
    visit("mode", parameters.mode);
}

}  // namespace

Parameters clamped(Parameters p) {
    p.gamma = std::clamp(p.gamma, 0.1, 10.0);
    p.contrast = std::clamp(p.contrast, 0.0, 10.0);
    p.saturation = std::clamp(p.saturation, 0.0, 10.0);
    p.blackLevel = std::clamp(p.blackLevel, 0, 255);
    p.advancedGain = std::clamp(p.advancedGain, 0, 3);
    p.gain = std::clamp(p.gain, 0, kMaxGain);
    p.exposure = std::clamp(p.exposure, 1, kMaxExposure);
    p.aeTarget = std::clamp(p.aeTarget, 0, 255);
    p.timeout = std::clamp(p.timeout, 0, 600000);
    p.delay = std::clamp(p.delay, 0, 60000);
    return p;
}

QJsonObject toJson(const Parameters& parameters) {
    QJsonObject object;
    forEach(parameters,
            [&object](const char* name, const auto& value) { object.insert(QLatin1String(name), value); });
    return object;
}

Parameters fromJson(const QJsonObject& object, const Parameters& fallback, int modes) {
    Parameters parameters = fallback;
    forEach(parameters, [&object](const char* name, auto& value) { read(object, name, value); });
    if (parameters.antiFlicker < 0 || parameters.antiFlicker > 2)
        parameters.antiFlicker = fallback.antiFlicker;
    if (parameters.snapMode != kSnapContinuous && parameters.snapMode != kSnapTriggered)
        parameters.snapMode = fallback.snapMode;
    if (parameters.mode < 0 || parameters.mode >= modes)
        parameters.mode = fallback.mode;
    return clamped(parameters);
}

}  // namespace kvsim
