// SPDX-License-Identifier: Apache-2.0
#include "camerafeatures.h"

#include <arv.h>

#include <algorithm>
#include <cmath>

#include "conversions.h"
#include "featurenode.h"

namespace kvgen {

namespace {

using Kind = FeatureNode::Kind;

constexpr char kSoftware[] = "Software";
constexpr double kGreatestRate = 100000;  // frames a second; a bound beyond it says nothing
constexpr double kMostDecibels = 100;     // of a camera's gain
constexpr double kNoBound = 1e9;          // a bound of this or more says nothing of a gain

bool isFitting(Conversion conversion, const FeatureNode& node) {
    switch (conversion) {
        case Conversion::OffOrContinuous:
            return node.kind() == Kind::Boolean || (node.hasEntry("Off") && node.hasEntry("Continuous"));
        case Conversion::OffOrOn:
            return node.kind() == Kind::Boolean || (node.hasEntry("Off") && node.hasEntry("On"));
        case Conversion::Switch:
            return node.kind() == Kind::Boolean || node.kind() == Kind::Integer;
        case Conversion::Same:
        case Conversion::Reciprocal:
        case Conversion::Factor:
        case Conversion::GreyLevels:
        case Conversion::GainFactor:
        case Conversion::GainDoublings:
        case Conversion::ExposureUnits:
        case Conversion::OfFullScale:
        case Conversion::PauseOfRate:
        case Conversion::FastestRate:
        case Conversion::MainsPulses:
            break;
    }
    return node.isNumber();
}

/// By its unit. Without one a real number is, as the standard has it, unless it goes where no gain does.
bool isInDecibels(const FeatureNode& node) {
    const QByteArray unit = node.unit().trimmed().toLower();
    if (!unit.isEmpty() || node.kind() != Kind::Real)
        return unit == "db";
    FeatureNode::Bounds bounds{};
    QByteArray reason;
    node.bounds(bounds, reason);
    return bounds.high <= kMostDecibels || bounds.high >= kNoBound;
}

QByteArray userSet(int number) {
    return "UserSet" + QByteArray::number(number);
}

}  // namespace

CameraFeatures::CameraFeatures(ArvCamera* camera, const CameraConfiguration& configuration,
                               std::function<void()> answered)
    : camera_(camera),
      device_(arv_camera_get_device(camera)),
      configuration_(configuration),
      answered_(std::move(answered)) {
    if (configuration_.frameRate)
        servingOf(Parameter::Delay);
    reason_.clear();
}

FeatureNode CameraFeatures::nodeOf(const QByteArray& name) const {
    return FeatureNode(device_, name, &answered_);
}

const CameraFeatures::Serving& CameraFeatures::servingOf(Parameter parameter) {
    auto& serving = serving_[static_cast<size_t>(parameter)];
    if (serving)
        return *serving;
    if (parameter != Parameter::Delay && parameter != Parameter::Highspeed) {
        serving = found(parameter);
        return *serving;
    }
    // The two go by the same rate.
    for (const Parameter one : {Parameter::Delay, Parameter::Highspeed})
        serving_[static_cast<size_t>(one)] = found(one);
    prepareRate();
    return *serving;
}

CameraFeatures::Serving CameraFeatures::found(Parameter parameter) {
    const QVector<Candidate>& candidates = mappingOf(parameter).candidates;
    for (int i = 0; i < candidates.size(); ++i) {
        Serving serving;
        if (serves(candidates[i], serving)) {
            serving.candidate = i;
            return serving;
        }
    }
    return {};
}

bool CameraFeatures::serves(const Candidate& candidate, Serving& serving) {
    const FeatureNode node = nodeOf(candidate.feature);
    if (node.kind() == Kind::None || !node.isWritable())
        return false;

    const int equals = candidate.selector.indexOf('=');
    const FeatureNode selector = nodeOf(candidate.selector.left(equals));
    if (selector.kind() == Kind::Enumeration && selector.isAvailable()) {
        const auto entries = candidate.selector.mid(equals + 1).split('|');
        const auto entry = std::find_if(entries.begin(), entries.end(),
                                        [&selector](const QByteArray& e) { return selector.hasEntry(e); });
        QByteArray reason;
        if (entry != entries.end())
            serving.entry = *entry;
        else if (!candidate.needsSelector)
            selector.readEntry(serving.entry, reason);
        serving.selector = serving.entry.isEmpty() ? QByteArray() : candidate.selector.left(equals);
    }
    if (candidate.needsSelector) {
        const Serving& gain = servingOf(Parameter::Gain);
        if (serving.selector.isEmpty() || gain.selector.isEmpty() || gain.entry == serving.entry)
            return false;
    }
    // What it can do, and whether it is there at all, may depend on what is selected.
    select(serving);
    const FeatureNode enabling = nodeOf(enablingOf(candidate));
    const bool canBeEnabled = enabling.kind() == Kind::Boolean && enabling.isWritable();
    if (!node.isAvailable() && !(canBeEnabled && node.isImplemented()))
        return false;
    if (!isFitting(candidate.conversion, node))
        return false;
    if (candidate.conversion == Conversion::GainDoublings && !isInDecibels(node))
        return false;
    serving.conversion = candidate.conversion;
    fitConversion(serving, node);
    return true;
}

void CameraFeatures::fitConversion(Serving& serving, const FeatureNode& node) const {
    const QByteArray unit = node.unit().trimmed();
    FeatureNode::Bounds bounds{};
    QByteArray reason;
    node.bounds(bounds, reason);
    switch (serving.conversion) {
        case Conversion::Factor:
            serving.factor = unit == "%" || (node.kind() == Kind::Integer && bounds.high >= 100) ? 100 : 1;
            break;
        case Conversion::GreyLevels:
            serving.factor = unit == "%" ? 100.0 / 255 : 1;
            break;
        case Conversion::GainFactor:
            if (!isInDecibels(node))
                serving.conversion = Conversion::Same;
            break;
        case Conversion::ExposureUnits:
        case Conversion::MainsPulses:
            serving.factor = configuration_.exposureUnit * ticksPerMicrosecond(unit);
            break;
        case Conversion::OfFullScale:
            serving.factor = fullScaleOf(bounds.high, unit) / 255;
            break;
        case Conversion::Same:
        case Conversion::Reciprocal:
        case Conversion::GainDoublings:
        case Conversion::OffOrContinuous:
        case Conversion::OffOrOn:
        case Conversion::Switch:
        case Conversion::PauseOfRate:
        case Conversion::FastestRate:
            break;
    }
}

void CameraFeatures::prepareRate() {
    const Candidate* candidate = candidateOf(Parameter::Delay);
    if (candidate == nullptr)
        return;
    const FeatureNode node = nodeOf(candidate->feature);
    const FeatureNode enabling = nodeOf(enablingOf(*candidate));
    QByteArray reason;
    double isEnabled = 1;
    if (enabling.kind() == Kind::Boolean)
        enabling.read(isEnabled, reason);
    FeatureNode::Bounds bounds{0, 0};
    node.bounds(bounds, reason);
    const bool isBounded = bounds.high > 0 && bounds.high <= kGreatestRate;
    if (!isBounded)
        serving_[static_cast<size_t>(Parameter::Highspeed)] = Serving{};

    node.read(baseRate_, reason);
    isRateFree_ = isEnabled == 0 && !configuration_.frameRate;
    if (isRateFree_ && isBounded)
        baseRate_ = bounds.high;
    if (configuration_.frameRate) {
        baseRate_ = isBounded ? std::min(*configuration_.frameRate, bounds.high) : *configuration_.frameRate;
        enable(enablingOf(*candidate), true);
        node.write(baseRate_, reason);
    }
    if (!(baseRate_ > 0) || baseRate_ > kGreatestRate) {
        baseRate_ = 0;
        serving_[static_cast<size_t>(Parameter::Delay)] = Serving{};
        serving_[static_cast<size_t>(Parameter::Highspeed)] = Serving{};
    }
    startRate_ = baseRate_;
}

QByteArray CameraFeatures::enablingOf(const Candidate& candidate) const {
    const auto names = candidate.enabledBy.split('|');
    const auto name = std::find_if(names.begin(), names.end(),
                                   [this](const QByteArray& n) { return nodeOf(n).kind() != Kind::None; });
    return name != names.end() ? *name : QByteArray();
}

const Candidate* CameraFeatures::candidateOf(Parameter parameter) {
    const int candidate = servingOf(parameter).candidate;
    return candidate < 0 ? nullptr : &mappingOf(parameter).candidates[candidate];
}

bool CameraFeatures::has(Parameter parameter) {
    return servingOf(parameter).candidate >= 0;
}

QByteArray CameraFeatures::featureOf(Parameter parameter) {
    const Candidate* candidate = candidateOf(parameter);
    return candidate == nullptr ? QByteArray() : candidate->feature;
}

double CameraFeatures::baseRate() {
    servingOf(Parameter::Delay);
    return baseRate_;
}

bool CameraFeatures::isLocked(Parameter parameter) {
    bool isLocked = false;
    QByteArray reason;
    nodeOf(featureOf(parameter)).readLock(isLocked, reason);
    return isLocked;
}

Status CameraFeatures::select(const Serving& serving) {
    return serving.selector.isEmpty() ? Status::Ok : choose(serving.selector, serving.entry);
}

/// A question less to the camera where the entry is the one that was chosen last.
Status CameraFeatures::choose(const QByteArray& selector, const QByteArray& entry) {
    const auto chosen = chosen_.find(selector);
    if (chosen != chosen_.end() && chosen->second == entry)
        return Status::Ok;
    chosen_.erase(selector);
    const Status status = nodeOf(selector).writeEntry(entry, reason_);
    if (status == Status::Ok)
        chosen_[selector] = entry;
    return status;
}

Status CameraFeatures::writeNumber(const FeatureNode& node, double value) {
    bool isBounded = false;
    const Status status = node.write(value, reason_, &isBounded);
    isAsAsked_ = !isBounded;
    return status;
}

Status CameraFeatures::enable(const QByteArray& name, bool on) {
    const FeatureNode node = nodeOf(name);
    if (node.kind() != Kind::Boolean)
        return Status::Ok;
    double now = 0;
    const Status status = node.read(now, reason_);
    if (status != Status::Ok || (now != 0) == on)
        return status;
    return node.write(on ? 1 : 0, reason_);
}

Status CameraFeatures::read(Parameter parameter, double& value) {
    const Candidate* candidate = candidateOf(parameter);
    if (candidate == nullptr)
        return Status::Unsupported;
    if (parameter == Parameter::AntiFlicker) {
        value = antiFlicker_;
        return Status::Ok;
    }
    if (parameter == Parameter::Delay || parameter == Parameter::Highspeed)
        return readRate(parameter, value);

    const Serving& serving = servingOf(parameter);
    Status status = select(serving);
    if (status != Status::Ok)
        return status;
    const FeatureNode node = nodeOf(candidate->feature);
    double found = 0;
    if (node.kind() == Kind::Enumeration) {
        QByteArray entry;
        status = node.readEntry(entry, reason_);
        found = entry == "Off" ? 0 : 1;
    } else {
        status = node.read(found, reason_);
    }
    if (status != Status::Ok)
        return status;
    // A gamma that is not switched on does nothing, whatever its number is.
    double isOn = 1;
    const FeatureNode enabling = nodeOf(enablingOf(*candidate));
    if (enabling.kind() == Kind::Boolean && enabling.read(isOn, reason_) == Status::Disconnected)
        return Status::Disconnected;
    if (isOn == 0)
        found = toFeature(serving.conversion, 1, serving.factor);
    if (serving.conversion == Conversion::OffOrOn)
        found += 1;
    value = accepted(parameter, fromFeature(serving.conversion, found, serving.factor)).value_or(0);
    return Status::Ok;
}

Status CameraFeatures::write(Parameter parameter, double value) {
    const Candidate* candidate = candidateOf(parameter);
    if (candidate == nullptr)
        return Status::Unsupported;
    const auto ours = accepted(parameter, value);
    if (!ours)
        return Status::BadArgument;
    isAsAsked_ = true;
    bool isLockedNow = false;
    // A camera that is gone is asked once: each question to it takes seconds.
    if (nodeOf(candidate->feature).readLock(isLockedNow, reason_) == Status::Disconnected)
        return Status::Disconnected;
    if (isLockedNow) {
        if (!isOverruled(parameter)) {
            reason_ = candidate->feature + " is locked";
            return Status::DeviceFailure;
        }
        // Anti-flicker is kept for when the automatic is off again.
        if (parameter != Parameter::AntiFlicker) {
            isAsAsked_ = false;
            return Status::Ok;
        }
    }
    if (parameter == Parameter::Delay)
        return writeRate(isHighspeed_, *ours);
    if (parameter == Parameter::Highspeed)
        return writeRate(*ours != 0, delay_);
    if (parameter == Parameter::SnapMode)
        return writeTrigger(*ours == 2);
    if (parameter == Parameter::AntiFlicker)
        return writeAntiFlicker(static_cast<int>(*ours));
    if (parameter == Parameter::Exposure)
        return writeExposure(*ours);

    const Serving& serving = servingOf(parameter);
    Status status = select(serving);
    if (status == Status::Ok)
        status = enable(enablingOf(*candidate), true);
    if (status != Status::Ok)
        return status;
    const FeatureNode node = nodeOf(candidate->feature);
    if (node.kind() == Kind::Enumeration)
        status = node.writeEntry(*ours == 0 ? "Off" : "Continuous", reason_);
    else
        status = writeNumber(node, toFeature(serving.conversion, *ours, serving.factor));
    // From here on the exposure is the operator's again: what the automatic has found.
    if (status == Status::Ok && parameter == Parameter::Aec && *ours == 0)
        status = takeOverExposure();
    return status;
}

bool CameraFeatures::isOverruled(Parameter parameter) {
    Parameter automatic = Parameter::Aec;
    if (parameter == Parameter::Gain)
        automatic = Parameter::Agc;
    else if (parameter != Parameter::Exposure && parameter != Parameter::AntiFlicker)
        return false;
    double isOn = 0;
    return read(automatic, isOn) == Status::Ok && isOn != 0;
}

Status CameraFeatures::writeExposure(double value) {
    const Serving& serving = servingOf(Parameter::Exposure);
    const FeatureNode node = nodeOf(featureOf(Parameter::Exposure));
    FeatureNode::Bounds bounds{};
    Status status = node.bounds(bounds, reason_);
    if (status != Status::Ok)
        return status;
    const double ticks = serving.factor / configuration_.exposureUnit;  // of the feature in a µs
    const double micros = inPulses(value * configuration_.exposureUnit, antiFlicker_, bounds.high / ticks);
    status = writeNumber(node, micros * ticks);
    if (status != Status::Ok)
        return status;
    wantedExposure_ = value;
    return followExposure();
}

/// The delay is to stay what it is, whatever the exposure has become.
Status CameraFeatures::followExposure() {
    if (delay_ == 0)
        return Status::Ok;
    const bool isAsAsked = isAsAsked_;
    const Status status = writeRate(isHighspeed_, delay_);
    isAsAsked_ = isAsAsked;
    return status == Status::Disconnected ? status : Status::Ok;
}

Status CameraFeatures::takeOverExposure() {
    double now = 0;
    if (antiFlicker_ == 0 || read(Parameter::Exposure, now) != Status::Ok)
        return followExposure();
    return writeExposure(now);
}

Status CameraFeatures::writeAntiFlicker(int mode) {
    const int before = antiFlicker_;
    double now = wantedExposure_;
    if (before == 0) {
        const Status status = read(Parameter::Exposure, now);
        if (status != Status::Ok)
            return status;
    }
    antiFlicker_ = mode;
    double isAutomatic = 0;
    Status status = has(Parameter::Aec) ? read(Parameter::Aec, isAutomatic) : Status::Ok;
    if (status == Status::Ok && isAutomatic != 0) {
        wantedExposure_ = now;
        return Status::Ok;
    }
    if (status != Status::Disconnected)
        status = writeExposure(now);
    if (status != Status::Ok)
        antiFlicker_ = before;
    return status;
}

Status CameraFeatures::writeRate(bool highspeed, double delay) {
    const Candidate* candidate = candidateOf(Parameter::Delay);
    const FeatureNode node = nodeOf(candidate->feature);
    Status status = Status::Ok;
    double start = baseRate_;
    if (!highspeed && delay == 0 && isRateFree_) {
        status = enable(enablingOf(*candidate), false);
    } else {
        status = enable(enablingOf(*candidate), true);
        FeatureNode::Bounds bounds{};
        if (status == Status::Ok)
            status = node.bounds(bounds, reason_);
        if (highspeed && bounds.high > 0 && bounds.high <= kGreatestRate)
            start = bounds.high;
        double exposure = 0;
        if (status == Status::Ok && delay > 0 && has(Parameter::Exposure) &&
            read(Parameter::Exposure, exposure) == Status::Disconnected)
            return Status::Disconnected;
        const double seconds = exposure * configuration_.exposureUnit / 1e6;
        if (seconds * start > 1)
            start = 1 / seconds;
        if (status == Status::Ok)
            status = writeNumber(node, delayedRate(start, delay));
    }
    if (status == Status::Ok) {
        isHighspeed_ = highspeed;
        delay_ = delay;
        startRate_ = start;
    }
    return status;
}

Status CameraFeatures::readRate(Parameter parameter, double& value) {
    if (parameter == Parameter::Highspeed) {
        value = isHighspeed_ ? 1 : 0;
        return Status::Ok;
    }
    if (delay_ == 0) {
        value = 0;
        return Status::Ok;
    }
    // What the camera made of it: it may not go as slow as it was asked to.
    double rate = 0;
    const Status status = nodeOf(featureOf(Parameter::Delay)).read(rate, reason_);
    if (status == Status::Ok)
        value = accepted(Parameter::Delay, delayOf(rate, startRate_)).value_or(0);
    return status;
}

Status CameraFeatures::writeTrigger(bool on) {
    Status status = select(servingOf(Parameter::SnapMode));
    if (status != Status::Ok)
        return status;
    const FeatureNode source = nodeOf("TriggerSource");
    if (on && source.kind() == Kind::Enumeration) {
        if (!source.hasEntry(configuration_.triggerSource)) {
            reason_ = "there is no trigger source " + configuration_.triggerSource;
            return Status::Unsupported;
        }
        status = source.writeEntry(configuration_.triggerSource, reason_);
        if (status != Status::Ok)
            return status;
    }
    const FeatureNode mode = nodeOf(featureOf(Parameter::SnapMode));
    return mode.kind() == Kind::Enumeration ? mode.writeEntry(on ? "On" : "Off", reason_)
                                            : mode.write(on ? 1 : 0, reason_);
}

Status CameraFeatures::shoot() {
    double mode = 0;
    const Status status = read(Parameter::SnapMode, mode);
    if (status != Status::Ok)
        return status;
    if (mode != 2 || configuration_.triggerSource != kSoftware)
        return Status::WrongMode;
    return nodeOf("TriggerSoftware").execute(reason_);
}

bool CameraFeatures::hasUserSet(int number) const {
    const FeatureNode selector = nodeOf("UserSetSelector");
    const FeatureNode load = nodeOf("UserSetLoad");
    const FeatureNode save = nodeOf("UserSetSave");
    return selector.isWritable() && selector.hasEntry(userSet(number)) && load.isAvailable() &&
           load.isWritable() && save.isAvailable() && save.isWritable();
}

Status CameraFeatures::runUserSet(int number, const char* command) {
    if (!hasUserSet(number))
        return Status::Unsupported;
    const Status status = choose("UserSetSelector", userSet(number));
    return status == Status::Ok ? nodeOf(command).execute(reason_) : status;
}

Status CameraFeatures::saveUserSet(int number) {
    return runUserSet(number, "UserSetSave");
}

Status CameraFeatures::loadUserSet(int number) {
    // The rate that delays start from is that of before.
    servingOf(Parameter::Delay);
    const Status status = runUserSet(number, "UserSetLoad");
    if (status != Status::Ok)
        return status;
    // Nothing of ours is on top of what the camera has now, and what it has chosen nobody knows.
    chosen_.clear();
    isHighspeed_ = false;
    delay_ = 0;
    startRate_ = baseRate_;
    antiFlicker_ = 0;
    return Status::Ok;
}

}  // namespace kvgen
