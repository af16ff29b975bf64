// SPDX-License-Identifier: Apache-2.0
// Keeper: what callers have asked for, on its thread, with a camera.

#include "keeper.h"

#include <QDebug>

#include <algorithm>

#include "accesses.h"

namespace kvgen {

namespace {

constexpr auto kAfterFailure = std::chrono::milliseconds(1000);  // before the next try to open
constexpr int kTriggered = 2;                                    // snap mode

}  // namespace

Status Keeper::readTriggered(bool& isTriggered) {
    double mode = 0;
    const Status status = values_.get(camera_->features(), Parameter::SnapMode, mode);
    isTriggered = status == Status::Ok && mode == kTriggered;
    return status;
}

bool Keeper::isTriggered() {
    bool isTriggered = false;
    readTriggered(isTriggered);
    return isTriggered;
}

/// What the camera makes of it is the mode from now on.
QString Keeper::applyMode(int mode) {
    Mode applied = known().memory.modes[mode];
    QString reason = camera_->apply(applied);
    if (reason.isEmpty()) {
        const std::lock_guard<std::mutex> lock(mutex_);
        known_.memory.modes[mode] = applied;
    }
    return reason;
}

/// After another mode was refused: that of before, else the whole picture, so that frames have the size that
/// is waited for.
void Keeper::keepMode() {
    if (applyMode(mode_).isEmpty() || mode_ == 0)
        return;
    mode_ = 0;
    applyMode(mode_);
}

/// Changes something while the camera does not stream. Frames from before are not delivered afterwards.
Status Keeper::restart(const std::function<Status()>& change) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        queue_ = nullptr;
    }
    keepCounts();
    // A dead camera is left alone at once: each further question takes seconds.
    const auto isLost = [this](bool hasFailed) {
        if (!hasFailed && !hasUnanswered())
            return false;
        lose(QStringLiteral("no frame and no answer"));
        nextTry_ = Clock::now() + kAfterFailure;
        return true;
    };
    forgetAccesses();
    camera_->stop();
    if (isLost(false))
        return Status::Disconnected;
    const Status status = change();
    if (isLost(status == Status::Disconnected))
        return Status::Disconnected;
    progress();
    keepsAll_ = isTriggered();
    const QString reason = camera_->start(keepsAll_);
    started_ = Clock::now();
    if (!reason.isEmpty()) {
        if (!isLost(false))
            lose(reason, Trouble::Nonsense);
        return Status::Disconnected;
    }
    publish(true);
    return status;
}

/// What the camera has before it is changed for the first time.
Status Keeper::note(Parameter parameter) {
    const auto at = static_cast<size_t>(parameter);
    if (known().isNoted[at])
        return Status::Ok;
    double value = 0;
    const Status status = values_.get(camera_->features(), parameter, value);
    if (status == Status::Disconnected)
        return status;
    if (status == Status::Ok)
        wanted_.note(parameter, value);
    const std::lock_guard<std::mutex> lock(mutex_);
    known_.isNoted[at] = true;
    if (status == Status::Ok)
        known_.asOpened[parameter] = value;
    return Status::Ok;
}

Status Keeper::noteBefore(Parameter parameter) {
    Status status = Status::Ok;
    // These change others.
    if (parameter == Parameter::Aec || parameter == Parameter::AntiFlicker)
        status = note(Parameter::Exposure);
    else if (parameter == Parameter::Agc)
        status = note(Parameter::Gain);
    return status == Status::Disconnected ? status : note(parameter);
}

Status Keeper::noteAll() {
    for (const Mapping& mapping : mappings()) {
        if (note(mapping.parameter) == Status::Disconnected)
            return Status::Disconnected;
    }
    return Status::Ok;
}

/// Another camera has come to its place: it is about to get what was wanted of the one before.
Status Keeper::noteWanted() {
    for (const Mapping& mapping : mappings()) {
        if (values_.wanted()[mapping.parameter] && noteBefore(mapping.parameter) == Status::Disconnected)
            return Status::Disconnected;
    }
    return Status::Ok;
}

Status Keeper::getFromCamera(Parameter parameter, double& value) {
    Status status = setWanted(parameter);
    if (status == Status::Disconnected)
        return status;
    status = values_.get(camera_->features(), parameter, value);
    if (status == Status::Ok)
        wanted_.note(parameter, value);
    else if (status == Status::Unsupported && values_.isLacking(camera_->features(), parameter))
        wanted_.noteLack(parameter);
    return status;
}

/// What is wanted of a parameter, and before it of those that it may depend on.
Status Keeper::setWanted(Parameter parameter) {
    while (const auto next = wanted_.take(ValueKeeper::pushOrder(), parameter)) {
        const Status status = setOnCamera(next->parameter, next->value);
        if (status == Status::Disconnected) {
            wanted_.putBack(*next);
            return status;
        }
        settle(next->parameter, status);
    }
    return values_.isLacking(camera_->features(), parameter) ? Status::Unsupported
                                                             : lastSet_[static_cast<size_t>(parameter)];
}

/// All of it, of a camera that does not stream.
Status Keeper::setAllWanted() {
    while (const auto next = wanted_.take(ValueKeeper::pushOrder())) {
        Status status = noteBefore(next->parameter);
        if (status != Status::Disconnected)
            status = values_.set(camera_->features(), next->parameter, next->value);
        if (status == Status::Disconnected) {
            wanted_.putBack(*next);
            return status;
        }
        settle(next->parameter, status);
    }
    return Status::Ok;
}

/// A value has been written, or refused: then it is not what there is.
void Keeper::settle(Parameter parameter, Status status) {
    lastSet_[static_cast<size_t>(parameter)] = status;
    double value = 0;
    if (values_.isLacking(camera_->features(), parameter))
        wanted_.noteLack(parameter);
    else if (!values_.isHeld(parameter) && values_.get(camera_->features(), parameter, value) == Status::Ok)
        wanted_.note(parameter, value);
}

bool Keeper::isBehind() const {
    return wanted_.isAny() || std::find(isLearned_.begin(), isLearned_.end(), false) != isLearned_.end();
}

/// One thing of those that nobody waits for: to write what was not written in time, and to learn what there
/// is before anybody asks.
void Keeper::catchUp() {
    const CommandQueue::Occupied occupied(commands_);
    Status status = Status::Ok;
    const auto unknown = std::find(isLearned_.begin(), isLearned_.end(), false);
    if (const auto next = wanted_.take(ValueKeeper::pushOrder())) {
        wanted_.putBack(*next);
        status = setWanted(next->parameter);
    } else if (unknown != isLearned_.end()) {
        const auto parameter = static_cast<Parameter>(unknown - isLearned_.begin());
        *unknown = true;
        double value = 0;
        status = note(parameter);
        if (status != Status::Disconnected)
            status = getFromCamera(parameter, value);
    }
    isSuspect_ = isSuspect_ || status == Status::Disconnected;
}

/// There is another one at its place: what was found out of the one before says nothing any more.
void Keeper::forgetCamera() {
    slotInCamera_.reset();
    mode_ = 0;
    const std::lock_guard<std::mutex> lock(mutex_);
    known_.asOpened = ParameterValues();
    known_.asOpened.timeout = timeout_;
    known_.asOpened.resolution = 0;
    known_.isNoted.fill(false);
}

Status Keeper::setOnCamera(Parameter parameter, double value) {
    if (noteBefore(parameter) == Status::Disconnected)
        return Status::Disconnected;
    Stopping& stopping = stopping_[static_cast<size_t>(parameter)];
    const auto write = [=] { return values_.set(camera_->features(), parameter, value); };
    // A frame from before must not be taken for that of the first shot; and a camera locks some features
    // while it streams.
    if (parameter == Parameter::SnapMode || stopping == Stopping::Needed ||
        camera_->features().isLocked(parameter)) {
        if (!camera_->features().has(parameter))
            return Status::Unsupported;
        if (values_.isAlready(camera_->features(), parameter, value))
            return Status::Ok;
        return restart(write);
    }
    Status status = write();
    // Not every camera says what it locks while it streams.
    if (status == Status::DeviceFailure && stopping == Stopping::Unknown) {
        status = restart(write);
        if (status != Status::Disconnected)
            stopping = status == Status::Ok ? Stopping::Needed : Stopping::Useless;
        return status;
    }
    const std::lock_guard<std::mutex> lock(mutex_);
    tuning_ = values_.tuning();
    return status;
}

Status Keeper::setModeOnCamera(int mode) {
    if (mode >= known().memory.modes.size())
        return Status::BadArgument;
    if (mode == mode_)
        return Status::Ok;
    return restart([&] {
        const QString reason = applyMode(mode);
        if (reason.isEmpty()) {
            mode_ = mode;
            return Status::Ok;
        }
        qWarning("%s: resolution mode %d fails: %s", qPrintable(label()), mode, qPrintable(reason));
        keepMode();
        return Status::DeviceFailure;
    });
}

ParameterValues Keeper::everything() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    ParameterValues all = known_.asOpened;
    all.merge(values_.wanted());
    all.timeout = timeout_;
    all.resolution = mode_;
    all.resolutionSize = known_.memory.modes.value(mode_).size;
    return all;
}

Status Keeper::saveOnCamera(int slot) {
    return restart([&] {
        Status status = setAllWanted();
        if (status == Status::Ok)
            status = noteAll();
        ParameterValues all = everything();
        if (status == Status::Ok)
            status = values_.readAutomatic(camera_->features(), all);
        return status == Status::Ok ? saveSlot(camera_->features(), place_.owner(), slot, all) : status;
    });
}

/// What was wanted after the mark comes after it.
Status Keeper::loadOnCamera(int slot, uint64_t mark) {
    return restart([&] {
        Status status = noteAll();
        if (status != Status::Ok)
            return status;
        const Known before = known();
        LoadedSlot loaded;
        status = loadSlot(camera_->features(), place_.owner(), slot, before.asOpened, loaded);
        if (status != Status::Ok)
            return status;
        progress();
        QVector<QSize> sizes;
        for (const Mode& mode : before.memory.modes)
            sizes.append(mode.size);
        const int mode = resolutionOf(loaded.values, sizes).value_or(mode_);
        QString reason = loaded.isFromCamera ? camera_->setUpAgain() : QString();
        if (reason.isEmpty())
            reason = applyMode(mode);
        if (hasUnanswered())
            return Status::Disconnected;
        if (!reason.isEmpty()) {
            qWarning("%s: slot %d fails: %s", qPrintable(label()), slot, qPrintable(reason));
            // What was wanted before stands, in the camera as well.
            keepMode();
            isLearned_.fill(false);
            values_.push(camera_->features(), progress_);
            return Status::DeviceFailure;
        }
        slotInCamera_ = loaded.isFromCamera ? std::make_optional(slot) : std::nullopt;
        mode_ = mode;
        if (loaded.values.timeout)
            setTimeout(*loaded.values.timeout);
        values_.want(loaded.values);
        wanted_.forgetUntil(mark);
        isLearned_.fill(false);
        return values_.push(camera_->features(), progress_);
    });
}

}  // namespace kvgen
