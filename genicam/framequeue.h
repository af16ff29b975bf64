// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <vector>

#include "pixels.h"

typedef struct _ArvBuffer ArvBuffer;
typedef struct _ArvStream ArvStream;

namespace kvgen {

using Clock = std::chrono::steady_clock;
using TimePoint = Clock::time_point;

/// The picture in a buffer, which owns the pixels. None: the buffer holds no whole picture that the library
/// understands - another payload or pixel format, a side that is not positive, fewer bytes than its size
/// needs. To be asked only of a buffer that the stream has finished.
std::optional<RawFrame> rawFrameOf(ArvBuffer* buffer);

/// Frames on their way from Aravis's stream thread to the thread that queries. Thread-safe.
///
/// The stream's callback pops each finished buffer here; good ones wait to be taken, all others go back to
/// the stream at once, counted. In continuous mode only the newest good one waits; in triggered mode all do,
/// up to kMostWaiting, and the stream gets further buffers, so that those that wait do not starve it. A
/// buffer that was taken goes back by giveBack(). Nothing here ever speaks to the camera.
class FrameQueue {
public:
    FrameQueue() = default;
    FrameQueue(const FrameQueue&) = delete;
    FrameQueue& operator=(const FrameQueue&) = delete;
    ~FrameQueue();

    /// Triggered frames that wait, and their bytes, but for two. Of more the oldest goes back and counts as
    /// overtaken.
    static constexpr size_t kMostWaiting = 16;
    static constexpr size_t kMostBytes = size_t{256} << 20;

    struct Counts {
        uint64_t good = 0;
        uint64_t incomplete = 0;  ///< packets were missing, or the time for them was over
        uint64_t foreign = 0;     ///< of another payload, size or pixel format than frames have
        uint64_t overtaken = 0;   ///< good, and replaced by a newer one before anybody took it
                                  ///< (frames that clear(), attach() or detach() give up are not)
    };

    /// Begins with a stream that has been made with callback() and this queue. `bytes`: the payload of a
    /// frame. Gives the stream `buffers` buffers, at least four. Waiting frames of another stream are given
    /// up. The caller owns the stream and detaches before it lets go of it.
    void attach(ArvStream* stream, size_t bytes, int buffers);
    /// Nothing waits afterwards, and the stream is not touched any more, also by a callback that is under
    /// way.
    void detach();
    /// px: frames of another size count as foreign. 0: every size is right.
    void expect(int width, int height);
    /// Frames that wait are given up: what comes from now on counts (mode, size or trigger changed).
    void clear();
    void setKeepsAll(bool keepsAll);

    /// To be called by the callback of arv_camera_create_stream(), with its ArvStreamCallbackType; `queue` is
    /// the FrameQueue. It outlives the stream.
    static void callback(void* queue, int type, ArvBuffer* buffer);

    /// Waits for a frame until `deadline`, or until wake() is called. Null: none. The caller owns what it
    /// gets until giveBack(), which is always right, whatever has been attached since.
    ArvBuffer* take(TimePoint deadline);
    void giveBack(ArvBuffer* buffer);
    /// Ends every take() that waits; where none does, the next one that would wait. So nothing told before a
    /// wake() is missed, and a null before the deadline means: look what is new, then take again.
    void wake();

    /// Since the queue was made.
    Counts counts() const;
    /// When the last packet-bearing buffer came, good or not; none since the last attach(): TimePoint::min().
    TimePoint lastArrival() const;

private:
    enum class Kind { Good, Incomplete, Foreign, Empty };

    // All of them with the mutex held.
    Kind kindOf(ArvBuffer* buffer) const;
    bool isExpected(ArvBuffer* buffer) const;
    void collect();
    void keep(ArvBuffer* buffer);
    void toStream(ArvBuffer* buffer);
    void feedStream();
    void giveUpOldest();
    size_t mostWaiting() const;
    void forgetStream();

    mutable std::mutex mutex_;
    std::condition_variable changed_;
    ArvStream* stream_ = nullptr;
    size_t bytes_ = 0;                // of a buffer
    int width_ = 0;                   // px; 0: any
    int height_ = 0;                  // px; 0: any
    size_t wanted_ = 0;               // buffers while few wait
    size_t all_ = 0;                  // buffers that there are: with the stream, waiting and taken
    std::deque<ArvBuffer*> waiting_;  // oldest first
    std::vector<ArvBuffer*> taken_;   // of this stream
    bool keepsAll_ = false;
    int takers_ = 0;  // that wait
    uint64_t wakes_ = 0;
    bool wakeIsDue_ = false;  // for the next taker
    Counts counts_;
    TimePoint lastArrival_ = TimePoint::min();
};

}  // namespace kvgen
