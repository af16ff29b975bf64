// SPDX-License-Identifier: Apache-2.0
#include "keeper.h"

#include <QDebug>

#include <algorithm>
#include <exception>
#include <thread>

#include "accesses.h"
#include "glibmessages.h"

namespace kvgen {

namespace {

using std::chrono::milliseconds;
using Late = CommandQueue::Late;

constexpr auto kTick = milliseconds(100);            // between looks after the camera
constexpr auto kSlice = milliseconds(100);           // that a query waits before it looks what is new
constexpr auto kPause = milliseconds(1000);          // between tries to open
constexpr auto kLongestPause = milliseconds(30000);  // the same, for a camera that cannot be used
constexpr auto kLeavingPause = milliseconds(500);    // the same, while Aravis gives it back
// Looking at a camera that somebody holds may count as that one's heartbeat, which lasts 3 s: a program that
// was killed would hold it for ever.
constexpr auto kHeldPause = milliseconds(4000);
constexpr auto kElsewhere = std::chrono::seconds(10);  // of absence, before it is looked for elsewhere
constexpr int kGreatestTimeout = 600000;               // ms

}  // namespace

std::shared_ptr<Keeper> Keeper::start(Place place, Known known, std::shared_ptr<Keeper> previous) {
    std::shared_ptr<Keeper> keeper(new Keeper(std::move(place), std::move(known)));
    std::thread([keeper, previous = std::move(previous)]() mutable {
        keeper->run(previous);
        previous.reset();
    }).detach();
    return keeper;
}

Keeper::Keeper(Place place, Known known)
    : place_(std::move(place)), known_(std::move(known)), values_(place_.configuration), pause_(kPause) {
    known_.asOpened.timeout = timeout_;
    known_.asOpened.resolution = 0;
    commands_.refuse(Status::Disconnected);
}

void Keeper::end() {
    std::shared_ptr<FrameQueue> queue;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isEnding_ = true;
        queue = queue_;
        changed_.notify_all();
    }
    if (queue)
        queue->wake();
    commands_.refuse(Status::NotOpen);
    commands_.wake();
}

bool Keeper::waitUntilEnded(TimePoint deadline) {
    Lock lock(mutex_);
    return changed_.wait_until(lock, deadline, [this] { return hasEnded_; });
}

bool Keeper::waitUntilOpen(TimePoint deadline) {
    Lock lock(mutex_);
    return changed_.wait_until(lock, deadline, [this] { return isOpen_ || isEnding_ || hasFailed_; }) &&
           isOpen_;
}

Keeper::Known Keeper::known() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return known_;
}

bool Keeper::isEnding() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return isEnding_;
}

QString Keeper::label() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const QByteArray& serial = known_.memory.serial.isEmpty() ? place_.found.serial : known_.memory.serial;
    return QStringLiteral("KVCap2: camera %1 (%2)")
        .arg(place_.index)
        .arg(QString::fromUtf8(serial.isEmpty() ? place_.found.name : serial));
}

// What every thread may call

Status Keeper::query(uint8_t* buffer, int32_t& length, int channels) {
    const std::lock_guard<std::mutex> queryLock(queryMutex_);
    const TimePoint begin = Clock::now();
    QSize size;
    for (bool isFirst = true;; isFirst = false) {
        notePresence();
        std::shared_ptr<FrameQueue> queue;
        TimePoint slice;
        {
            Lock lock(mutex_);
            if (isEnding_)
                return Status::NotOpen;
            // The caller's room is for the size that it was told; as many bytes may be another shape.
            if (!isFirst && !size.isEmpty() && size != known_.size)
                return Status::BufferTooSmall;
            size = known_.size;
            if (!size.isEmpty() && length < size.width() * size.height() * channels)
                return Status::BufferTooSmall;
            // The time-out as it is now: it may change while a query waits.
            const TimePoint now = Clock::now();
            const TimePoint deadline = begin + milliseconds(timeout_);
            if (now >= deadline && !isFirst)
                return isThere(now) ? Status::TimeOut : Status::Disconnected;
            slice = std::min(deadline, now + kSlice);
            queue = isHidden() ? nullptr : queue_;
            if (!queue) {
                changed_.wait_until(lock, slice,
                                    [this] { return isEnding_ || (queue_ != nullptr && !isHidden()); });
                continue;
            }
        }
        ArvBuffer* taken = queue->take(slice);
        if (taken == nullptr)
            continue;
        Tuning tuning;
        bool isCurrent = false;
        {
            const std::lock_guard<std::mutex> lock(mutex_);
            tuning = tuning_;
            isCurrent = queue == queue_ && size == known_.size && !isHidden() && !isEnding_;
        }
        const auto frame = rawFrameOf(taken);
        const bool isDone = isCurrent && frame && QSize(frame->width, frame->height) == size &&
                            converter_.convert(*frame, tuning, channels, buffer);
        queue->giveBack(taken);
        if (isDone) {
            length = size.width() * size.height() * channels;
            return Status::Ok;
        }
    }
}

Status Keeper::frameSize(QSize& size) const {
    Lock lock(mutex_);
    // Of frames that come; those of before a change do not.
    const bool isKnown = changed_.wait_for(lock, milliseconds(place_.answerWithin),
                                           [this] { return isEnding_ || !isHidden(); });
    if (isEnding_)
        return Status::NotOpen;
    if (!isKnown)
        return Status::NoAnswer;
    size = known_.size;
    return size.isEmpty() ? Status::Disconnected : Status::Ok;
}

Status Keeper::modes(QVector<QSize>& sizes) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isEnding_)
        return Status::NotOpen;
    sizes.clear();
    for (const Mode& mode : known_.memory.modes)
        sizes.append(mode.size);
    return sizes.isEmpty() ? Status::Disconnected : Status::Ok;
}

Status Keeper::timeout(int& milliseconds) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    milliseconds = timeout_;
    return isEnding_ ? Status::NotOpen : Status::Ok;
}

Status Keeper::setTimeout(int timeout) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (isEnding_)
        return Status::NotOpen;
    timeout_ = std::clamp(timeout, 0, kGreatestTimeout);
    changed_.notify_all();
    if (queue_)
        queue_->wake();
    return Status::Ok;
}

Status Keeper::get(Parameter parameter, std::optional<double>& value) {
    const auto result = std::make_shared<double>(0);
    const Status status = ask([=] { return getFromCamera(parameter, *result); }, Late::Dropped);
    if (status == Status::Ok)
        value = *result;
    else if (status == Status::NoAnswer || status == Status::Disconnected)
        value = wanted_.lastKnown(parameter);
    return status;
}

Status Keeper::set(Parameter parameter, double value) {
    if (isEnding())
        return Status::NotOpen;
    wanted_.want(parameter, value);
    return ask([=] { return setWanted(parameter); }, Late::Done);
}

Status Keeper::setMode(int mode) {
    return ask([=, hidden = hideFrames()] { return setModeOnCamera(mode); }, Late::Done);
}

Status Keeper::shoot() {
    return ask(
        [this] {
            bool isTriggered = false;
            const Status status = readTriggered(isTriggered);
            if (status == Status::Disconnected)
                return status;
            return isTriggered ? camera_->features().shoot() : Status::WrongMode;
        },
        Late::Dropped);
}

Status Keeper::load(int slot) {
    const uint64_t mark = wanted_.mark();
    return ask([=, hidden = hideFrames()] { return loadOnCamera(slot, mark); }, Late::Done);
}

Status Keeper::save(int slot) {
    return ask([=] { return saveOnCamera(slot); }, Late::Done);
}

/// `work` runs on the keeper's thread, with a camera.
Status Keeper::ask(CommandQueue::Work work, CommandQueue::Late late) {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (isEnding_)
            return Status::NotOpen;
    }
    notePresence();
    {
        // By the clock: the keeper's thread may hang in the very access that shows it.
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!isThere(Clock::now()))
            return Status::Disconnected;
    }
    const auto self = shared_from_this();
    return commands_.call(
        [self, work = std::move(work)] {
            if (!self->camera_)
                return Status::Disconnected;
            const Status status = work();
            if (status == Status::Disconnected)
                self->isSuspect_ = true;
            self->progress();
            return status;
        },
        milliseconds(place_.answerWithin), late);
}

std::shared_ptr<void> Keeper::hideFrames() {
    const std::lock_guard<std::mutex> lock(mutex_);
    ++hidden_;
    // Gone with the command, so the keeper is there.
    return {this, [](Keeper* keeper) {
                const std::lock_guard<std::mutex> keeperLock(keeper->mutex_);
                --keeper->hidden_;
                keeper->changed_.notify_all();
            }};
}

/// Under `mutex_`.
bool Keeper::isThere(TimePoint now) const {
    if (!isOpen_)
        return false;
    const TimePoint sign = queue_ ? std::max(lastAnswer_, queue_->lastArrival()) : lastAnswer_;
    return now - sign < kGone;
}

/// Logs that the camera has gone, or is back, once each. Also callers ask, so that it does not go unnoticed
/// while the keeper's thread hangs.
void Keeper::notePresence() {
    bool isBack = false;
    double away = 0;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        if (!wasEverOpen_ || isEnding_ || isProving_)
            return;
        const TimePoint now = Clock::now();
        const bool there = isThere(now);
        if (there == !isMissed_) {
            if (there)
                lastSign_ = queue_ ? std::max(lastAnswer_, queue_->lastArrival()) : lastAnswer_;
            return;
        }
        isBack = there;
        isMissed_ = !there;
        away = std::chrono::duration<double>(now - lastSign_).count();
    }
    if (isBack)
        qWarning("%s is back after %.1f s", qPrintable(label()), away);
    else
        qWarning(
            "%s has gone: no frame and no answer any more. Look after its cable and power; it is taken back "
            "by itself",
            qPrintable(label()));
}

/// Work gets on, if the camera has answered meanwhile: steps that time out are none.
void Keeper::progress() {
    if (!takeAnswered())
        return;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        lastAnswer_ = Clock::now();
    }
    commands_.progress();
}

/// Open: queries and calls may use the camera's stream, if it has one. Else they know of none.
void Keeper::publish(bool isOpen) {
    // Who has waited until it is open may call at once.
    if (isOpen && !isEnding())
        commands_.refuse(Status::Ok);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isOpen_ = isOpen;
        wasEverOpen_ = wasEverOpen_ || isOpen;
        queue_ = isOpen ? camera_->queue() : nullptr;
        tuning_ = values_.tuning();
        if (queue_)
            known_.size = known_.memory.modes[mode_].size;
        changed_.notify_all();
    }
    if (!isOpen && !isEnding())
        commands_.refuse(Status::Disconnected);
}

// The keeper's thread

void Keeper::run(const std::shared_ptr<Keeper>& previous) {
    takeMessages(place_.index);
    while (previous && !isEnding() && !previous->waitUntilEnded(Clock::now() + kTick)) {
    }
    nextTry_ = Clock::now();
    while (!isEnding()) {
        try {
            if (camera_) {
                // What callers wait for first; then what is still to be done.
                const bool isLate = isBehind();
                if (!commands_.serve(Clock::now() + (isLate ? Clock::duration(0) : kTick)) && isLate)
                    catchUp();
                watch();
            } else if (Clock::now() >= nextTry_) {
                tryToOpen();
            } else {
                commands_.serve(nextTry_);
            }
        } catch (const std::exception& fault) {
            lose(QString::fromUtf8(fault.what()));
            nextTry_ = Clock::now() + kPause;
        }
    }
    bool there = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        there = isThere(Clock::now());
        isOpen_ = false;
        queue_ = nullptr;
    }
    if (there)
        camera_.reset();
    else
        letGo();
    const std::lock_guard<std::mutex> lock(mutex_);
    hasEnded_ = true;
    changed_.notify_all();
}

void Keeper::tryToOpen() {
    const Known before = known();
    Memory memory = before.memory;
    Trouble trouble = Trouble::None;
    QString reason;
    std::unique_ptr<OpenCamera> camera =
        OpenCamera::open(before.moved.value_or(place_.found),
                         {place_.configuration, label(), place_.neighbours, place_.isDiscovered, progress_},
                         memory, trouble, reason);
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        known_.memory = memory;
    }
    if (!before.memory.serial.isEmpty() && memory.serial != before.memory.serial)
        forgetCamera();
    if (trouble == Trouble::Held && !memory.serial.isEmpty())
        place_.tellSerial(memory.serial);
    // One that fails now is given back, too, and is no reason to be silent about it.
    const bool isLeaving = *known().leaving > 0;
    if (camera && !isEnding()) {
        camera_ = std::move(camera);
        stopping_.fill(Stopping::Unknown);
        absentSince_.reset();
        place_.tellSerial(memory.serial);
        reason = startAnew();
        if (reason.isEmpty()) {
            reported_.clear();
            pause_ = kPause;
            publish(true);
            notePresence();
            return;
        }
        const bool isOwed = hasUnanswered();
        const OpenCamera::Pulse pulse = camera_->pulse();
        trouble = pulse == OpenCamera::Pulse::NotOurs ? Trouble::Held : Trouble::Nonsense;
        if (pulse == OpenCamera::Pulse::Silent || (pulse == OpenCamera::Pulse::Alive && isOwed)) {
            trouble = Trouble::Absent;
            reason = OpenCamera::silent();
        }
        letGo();
    }
    if (trouble == Trouble::Nonsense)
        pause_ = std::min<Clock::duration>(2 * pause_, kLongestPause);
    else
        pause_ = trouble != Trouble::Held ? kPause : isLeaving ? kLeavingPause : kHeldPause;
    nextTry_ = Clock::now() + pause_;
    if (!isLeaving)
        reportTrouble(trouble, reason);
    if (trouble != Trouble::Absent)
        absentSince_.reset();
    else
        lookElsewhere();
    const std::lock_guard<std::mutex> lock(mutex_);
    hasFailed_ = true;
    changed_.notify_all();
}

/// The camera has just been opened: gives it everything that is wanted of it, and starts it.
QString Keeper::startAnew() {
    const Known before = known();
    if (slotInCamera_) {
        LoadedSlot loaded;
        loadSlot(camera_->features(), place_.owner(), *slotInCamera_, before.asOpened, loaded);
        QString reason = camera_->setUpAgain();
        if (!reason.isEmpty())
            return reason;
    }
    if (mode_ >= before.memory.modes.size())
        mode_ = 0;
    if (mode_ != 0 || slotInCamera_) {
        QString reason = applyMode(mode_);
        if (!reason.isEmpty())
            return reason;
    }
    wanted_.forgetLacks();
    isLearned_.fill(false);
    if (noteWanted() == Status::Disconnected ||
        values_.push(camera_->features(), progress_) == Status::Disconnected ||
        setAllWanted() == Status::Disconnected)
        return QStringLiteral("no answer");
    keepsAll_ = isTriggered();
    QString reason = camera_->start(keepsAll_);
    started_ = Clock::now();
    if (reason.isEmpty()) {
        progress();
        const std::lock_guard<std::mutex> lock(mutex_);
        known_.memory.packetSize = camera_->packetSize();
    }
    return reason;
}

/// A camera that gets its address from the network may have come back under another one.
void Keeper::lookElsewhere() {
    const TimePoint now = Clock::now();
    if (!absentSince_)
        absentSince_ = now;
    if (!place_.isDiscovered || place_.found.address.isEmpty() || place_.found.serial.isEmpty() ||
        now - *absentSince_ < kElsewhere)
        return;
    absentSince_ = now;
    const std::optional<Found> found = findAgain(place_.found.serial);
    const QByteArray address = known().moved.value_or(place_.found).address;
    if (!found || found->address == address)
        return;
    qWarning("%s has another address now: %s instead of %s. Static addresses save the wait",
             qPrintable(label()), found->address.constData(), address.constData());
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        known_.moved = found;
    }
    nextTry_ = now;
}

void Keeper::reportTrouble(Trouble trouble, const QString& reason) {
    QString text;
    switch (trouble) {
        case Trouble::None:
            return;
        case Trouble::Absent: {
            const std::lock_guard<std::mutex> lock(mutex_);
            if (isMissed_)
                return;  // the log has it
        }
            text = QStringLiteral(
                       "is not there (%1). Look after its cable, power and address; trying again "
                       "every second")
                       .arg(reason);
            break;
        case Trouble::Held:
            text = QStringLiteral(
                "is held by another program, or by one that has just ended. Close it; trying "
                "again");
            break;
        case Trouble::Nonsense:
            text = QStringLiteral("cannot be used: %1. Trying again, less and less often").arg(reason);
            break;
    }
    if (reported_.contains(text))
        return;
    reported_.append(text);
    qWarning("%s %s", qPrintable(label()), qPrintable(text));
}

/// The camera that there is does not serve any more.
void Keeper::lose(const QString& reason, Trouble trouble) {
    bool isNew = false;
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        isNew = !isMissed_ && wasEverOpen_;
        isMissed_ = isMissed_ || wasEverOpen_;
        if (isNew && queue_)
            lastSign_ = std::max(lastAnswer_, queue_->lastArrival());
    }
    publish(false);
    if (trouble != Trouble::None)
        reportTrouble(trouble, reason);
    else if (isNew)
        qWarning("%s has gone: %s. Look after its cable and power; it is taken back by itself",
                 qPrintable(label()), qPrintable(reason));
    letGo();
    isSuspect_ = false;
    if (trouble == Trouble::Nonsense)
        pause_ = std::min<Clock::duration>(2 * pause_, kLongestPause);
    nextTry_ = Clock::now() + (trouble == Trouble::None   ? Clock::duration::zero()
                               : trouble == Trouble::Held ? kHeldPause
                                                          : pause_);
}

/// Giving back a camera that does not answer takes Aravis seconds, in which it may already be back.
void Keeper::letGo() {
    if (!camera_)
        return;
    keepCounts();
    const auto leaving = known().leaving;
    ++*leaving;
    std::thread([camera = std::shared_ptr<OpenCamera>(std::move(camera_)), leaving]() mutable {
        camera.reset();
        --*leaving;
    }).detach();
}

}  // namespace kvgen
