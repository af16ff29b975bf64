// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSize>
#include <QString>
#include <QStringList>
#include <QVector>

#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>

#include "commandqueue.h"
#include "configuration.h"
#include "discovery.h"
#include "framequeue.h"
#include "opencamera.h"
#include "parameterslots.h"
#include "pixels.h"
#include "valuekeeper.h"
#include "wantedvalues.h"

namespace kvgen {

/// Keeps one camera open from CameraInit to CameraFree, on a thread of its own, which alone speaks to it:
/// opens it, watches for life, takes it back when it has gone, and does what callers ask. The thread owns
/// itself by a share of the keeper, so a keeper that is stuck in a dead camera may be left alone.
///
/// All public functions may be called by any thread. Locks, outermost first: the query's, the state's, a
/// frame queue's. The command queue's and that of the wanted values are taken with none of them held.
class Keeper : public std::enable_shared_from_this<Keeper> {
public:
    /// What does not change.
    struct Place {
        int index = 0;
        Found found;
        CameraConfiguration configuration;
        int answerWithin = 100;     ///< ms
        int neighbours = 1;         ///< of our cameras on the interface, this one included
        bool isDiscovered = false;  ///< may have another address one day; its serial number tells
        /// Told the whole serial number by the keeper's thread, whenever the camera opens.
        std::function<void(const QByteArray&)> tellSerial;
        /// Its serial number as its files have it: whole, and no two cameras' alike.
        std::function<QByteArray()> owner;
    };
    /// What is known of the camera, for the next keeper.
    struct Known {
        Memory memory;
        /// What it had before this process changed anything, as far as that has been asked: a slow camera
        /// would take seconds to tell everything.
        ParameterValues asOpened;
        std::array<bool, kParameters> isNoted{};  ///< of them: asked
        QSize size;                               ///< of its frames, px
        std::optional<Found> moved;               ///< where it is now, if not where it was
        /// Cameras of this place that have gone and that Aravis still gives back.
        std::shared_ptr<std::atomic<int>> leaving = std::make_shared<std::atomic<int>>(0);
    };

    /// Begins. Waits for the end of `previous` before it opens the camera, if there was one.
    static std::shared_ptr<Keeper> start(Place place, Known known, std::shared_ptr<Keeper> previous);
    /// Tells it to end: every call gets NotOpen from now on, a query that waits, too. Does not wait.
    void end();
    /// Whether it has ended by `deadline`: then a camera that was there has been given back.
    bool waitUntilEnded(TimePoint deadline);
    /// Whether the camera streams by `deadline`. False at once when a try to open it has failed.
    bool waitUntilOpen(TimePoint deadline);
    Known known() const;

    /// As the operations; see there. `length`: room on entry, bytes on return.
    Status query(uint8_t* buffer, int32_t& length, int channels);
    Status frameSize(QSize& size) const;
    Status modes(QVector<QSize>& sizes) const;
    Status setMode(int mode);
    /// Where the camera is away or slow `value` is what it last was, if that is known; else empty.
    Status get(Parameter parameter, std::optional<double>& value);
    /// NoAnswer, Disconnected: it is set all the same, as soon as the camera lets it be, unless something
    /// newer is wanted by then.
    Status set(Parameter parameter, double value);
    Status timeout(int& milliseconds) const;
    Status setTimeout(int milliseconds);
    Status shoot();
    Status load(int slot);
    Status save(int slot);

private:
    using Lock = std::unique_lock<std::mutex>;
    static constexpr std::chrono::milliseconds kGone{1000};  // of silence

    Keeper(Place place, Known known);

    void run(const std::shared_ptr<Keeper>& previous);
    void tryToOpen();
    QString startAnew();
    void lookElsewhere();
    void watch();
    void lookForLoss();
    void reportFrames();
    void proveControl();
    void reportDarkness();
    void reportShots();
    void keepCounts();
    /// Trouble::None: it has gone. Else it is there, and what keeps it from us has a line of its own.
    void lose(const QString& reason, Trouble trouble = Trouble::None);
    void letGo();
    void reportTrouble(Trouble trouble, const QString& reason);

    Status ask(CommandQueue::Work work, CommandQueue::Late late);
    /// Nothing of before is delivered any more, until what is given back has gone: with the command.
    std::shared_ptr<void> hideFrames();
    bool isHidden() const { return hidden_ > 0; }
    Status getFromCamera(Parameter parameter, double& value);
    Status setWanted(Parameter parameter);
    Status setAllWanted();
    void settle(Parameter parameter, Status status);
    bool isBehind() const;
    void catchUp();
    void forgetCamera();
    Status setOnCamera(Parameter parameter, double value);
    Status note(Parameter parameter);
    Status noteBefore(Parameter parameter);
    Status noteAll();
    Status noteWanted();
    Status setModeOnCamera(int mode);
    Status loadOnCamera(int slot, uint64_t mark);
    Status saveOnCamera(int slot);
    Status restart(const std::function<Status()>& change);
    Status readTriggered(bool& isTriggered);
    bool isTriggered();
    QString applyMode(int mode);
    void keepMode();
    ParameterValues everything() const;

    void publish(bool isOpen);
    void progress();
    bool isThere(TimePoint now) const;
    void notePresence();
    bool isEnding() const;
    QString label() const;

    const Place place_;
    const std::function<void()> progress_ = [this] { progress(); };
    CommandQueue commands_;
    WantedValues wanted_;

    std::mutex queryMutex_;
    Converter converter_;  // the query's

    mutable std::mutex mutex_;
    mutable std::condition_variable changed_;
    Known known_;
    bool isEnding_ = false;
    bool hasEnded_ = false;
    bool isOpen_ = false;
    bool wasEverOpen_ = false;
    bool hasFailed_ = false;  // a try to open
    bool isMissed_ = false;   // it has gone, and the log says so
    int hidden_ = 0;          // changes that have been asked for and make other frames
    bool isProving_ = false;  // whether we have control
    TimePoint lastAnswer_;    // of the control channel
    TimePoint lastSign_;      // of anything, when it was there last
    std::shared_ptr<FrameQueue> queue_;
    Tuning tuning_;
    int timeout_ = 1500;  // ms

    // The keeper's thread only.
    std::unique_ptr<OpenCamera> camera_;
    ValueKeeper values_;
    std::array<Status, kParameters> lastSet_{};  // how the last writing of each went
    std::array<bool, kParameters> isLearned_{};  // what there is, since it was opened
    int mode_ = 0;
    /// Whether the camera has to be stopped for writing it, although it does not say so.
    enum class Stopping { Unknown, Needed, Useless };
    std::array<Stopping, kParameters> stopping_{};
    std::optional<int> slotInCamera_;  // that the camera itself has loaded
    TimePoint nextTry_;
    std::optional<TimePoint> absentSince_;  // at its address
    Clock::duration pause_;                 // before the next try
    QStringList reported_;                  // troubles that the log has, since it was open last
    bool isSuspect_ = false;                // a command got no answer
    uint64_t incompleteSum_ = 0;
    uint64_t incompleteReported_ = 0;
    TimePoint nextFrameReport_;
    bool isForeignReported_ = false;
    bool isDarkReported_ = false;
    TimePoint nextDarkLook_;
    bool keepsAll_ = false;      // the queue that there is
    TimePoint started_;          // the stream that there is
    uint64_t overtakenSum_ = 0;  // shots
    uint64_t overtakenReported_ = 0;
    TimePoint nextShotReport_;
};

}  // namespace kvgen
