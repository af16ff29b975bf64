// SPDX-License-Identifier: Apache-2.0
// Keeper: looking after the camera that is open, on the keeper's thread, and what the log is told of it.

#include "keeper.h"

#include <QDebug>

#include <algorithm>

#include "accesses.h"

namespace kvgen {

namespace {

using std::chrono::milliseconds;

constexpr auto kSilence = milliseconds(400);  // before the camera is asked whether it lives
constexpr auto kDark = milliseconds(3000);    // without a frame, of a camera that answers
constexpr auto kBetweenDarkLooks = milliseconds(500);
constexpr auto kBetweenFrameReports = std::chrono::minutes(1);
constexpr uint64_t kFewFrames = 10;

}  // namespace

void Keeper::watch() {
    // What was asked for last may have lost it.
    if (camera_)
        lookForLoss();
    notePresence();
    if (camera_) {
        reportFrames();
        reportShots();
        reportDarkness();
    }
}

void Keeper::lookForLoss() {
    if (camera_->isControlLost()) {
        lose(QStringLiteral("another program has taken it, or it was switched off"));
        return;
    }
    const auto isSilentFor = [this](Clock::duration duration) {
        const std::lock_guard<std::mutex> lock(mutex_);
        return Clock::now() - (queue_ ? std::max(lastAnswer_, queue_->lastArrival()) : lastAnswer_) >=
               duration;
    };
    if (!isSuspect_ && !hasUnanswered() && !isSilentFor(kSilence))
        return;
    isSuspect_ = false;
    forgetAccesses();
    OpenCamera::Pulse pulse = OpenCamera::Pulse::Silent;
    {
        const CommandQueue::Occupied occupied(commands_);
        pulse = camera_->pulse();
    }
    progress();
    if (pulse == OpenCamera::Pulse::Alive)
        proveControl();
    else if (pulse == OpenCamera::Pulse::NotOurs)
        lose(QStringLiteral("it was switched off and on"));
    else if (isSilentFor(kSilence))
        lose(QStringLiteral("no frame and no answer"));
}

/// The camera answers, and somebody has control: another program may have taken it while ours stood still.
void Keeper::proveControl() {
    const auto prove = [this](bool isProving) {
        const std::lock_guard<std::mutex> lock(mutex_);
        isProving_ = isProving;
    };
    prove(true);
    bool isOurs = true;
    {
        const CommandQueue::Occupied occupied(commands_);
        isOurs = camera_->isOurs();
    }
    if (isOurs)
        progress();
    else
        lose(QString(), Trouble::Held);
    prove(false);
}

/// A camera that answers but whose frames do not come: nothing else would say so.
void Keeper::reportDarkness() {
    const TimePoint now = Clock::now();
    if (!camera_->queue() || keepsAll_ || now < nextDarkLook_)
        return;
    const TimePoint last = std::max(started_, camera_->queue()->lastArrival());
    if (last > started_ && now - last < kDark)
        isDarkReported_ = false;
    if (isDarkReported_ || now - last < kDark)
        return;
    nextDarkLook_ = now + kBetweenDarkLooks;
    const auto wait = std::chrono::duration<double, std::milli>(3 * camera_->framePeriod());
    progress();
    bool isAnswering = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isAnswering = Clock::now() - lastAnswer_ < kGone;
    }
    if (now - last < wait || !isAnswering)
        return;
    isDarkReported_ = true;
    qWarning(
        "%s: it answers, but sends no frames. A firewall may keep them out: let the program through; or they "
        "are too large for the network: try PacketSize=1500 in kvcap2-genicam.ini",
        qPrintable(label()));
}

void Keeper::reportShots() {
    const TimePoint now = Clock::now();
    if (!camera_->queue() || !keepsAll_ || now < nextShotReport_)
        return;
    const uint64_t overtaken = overtakenSum_ + camera_->queue()->counts().overtaken;
    if (overtaken == overtakenReported_)
        return;
    qWarning("%s: %llu shots were not asked for in time and are lost", qPrintable(label()),
             static_cast<unsigned long long>(overtaken - overtakenReported_));
    overtakenReported_ = overtaken;
    nextShotReport_ = now + kBetweenFrameReports;
}

/// What there is to be told of the stream that ends is kept.
void Keeper::keepCounts() {
    if (!camera_->queue())
        return;
    const FrameQueue::Counts counts = camera_->queue()->counts();
    incompleteSum_ += counts.incomplete;
    overtakenSum_ += keepsAll_ ? counts.overtaken : 0;
}

void Keeper::reportFrames() {
    const TimePoint now = Clock::now();
    if (now < nextFrameReport_ || !camera_->queue())
        return;
    const FrameQueue::Counts counts = camera_->queue()->counts();
    // One or two may be left from before a change.
    if (counts.foreign > kFewFrames && counts.foreign > counts.good && !isForeignReported_) {
        isForeignReported_ = true;
        qWarning(
            "%s: its frames are of another size or pixel format than it says, and are left out; set "
            "PixelFormat "
            "in kvcap2-genicam.ini, or switch it off and on",
            qPrintable(label()));
    }
    const uint64_t incomplete = incompleteSum_ + counts.incomplete;
    // One now and then is nobody's fault.
    if (incomplete - incompleteReported_ < kFewFrames)
        return;
    qWarning(
        "%s: %llu frames were incomplete and are left out. Packets get lost: allow jumbo frames (MTU 9000), "
        "or "
        "set PacketSize, PacketDelay or SocketBuffer in kvcap2-genicam.ini; Wi-Fi is too slow",
        qPrintable(label()), static_cast<unsigned long long>(incomplete - incompleteReported_));
    incompleteReported_ = incomplete;
    nextFrameReport_ = now + kBetweenFrameReports;
}

}  // namespace kvgen
