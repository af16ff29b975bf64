// SPDX-License-Identifier: Apache-2.0
#include "framequeue.h"

#include <arv.h>

#include <algorithm>

namespace kvgen {

namespace {

constexpr int kFewestBuffers = 4;      // one taken, one waiting, and
constexpr size_t kFewestFillable = 2;  // with the stream: one being filled, one for the next frame

}  // namespace

std::optional<RawFrame> rawFrameOf(ArvBuffer* buffer) {
    switch (arv_buffer_get_payload_type(buffer)) {
        case ARV_BUFFER_PAYLOAD_TYPE_IMAGE:
        case ARV_BUFFER_PAYLOAD_TYPE_EXTENDED_CHUNK_DATA:
            break;
        default:
            return std::nullopt;  // Aravis adds kinds of its own
    }
    const std::optional<Layout> layout = layoutOf(arv_buffer_get_image_pixel_format(buffer));
    if (!layout)
        return std::nullopt;
    RawFrame frame;
    frame.layout = *layout;
    frame.width = arv_buffer_get_image_width(buffer);
    frame.height = arv_buffer_get_image_height(buffer);
    int rowsOfPadding = 0;  // behind the picture, which nobody reads
    arv_buffer_get_image_padding(buffer, &frame.padding, &rowsOfPadding);
    frame.data = static_cast<const uint8_t*>(arv_buffer_get_image_data(buffer, &frame.size));
    const uint64_t needed = bytesOf(frame);
    if (!frame.data || needed == 0 || frame.size < needed)
        return std::nullopt;
    return frame;
}

FrameQueue::~FrameQueue() {
    detach();
}

void FrameQueue::attach(ArvStream* stream, size_t bytes, int buffers) {
    const std::lock_guard<std::mutex> lock(mutex_);
    forgetStream();
    stream_ = stream;
    bytes_ = bytes;
    wanted_ = static_cast<size_t>(std::max(buffers, kFewestBuffers));
    lastArrival_ = TimePoint::min();
    while (all_ < wanted_) {
        arv_stream_push_buffer(stream_, arv_buffer_new_allocate(bytes_));
        ++all_;
    }
}

void FrameQueue::detach() {
    const std::lock_guard<std::mutex> lock(mutex_);
    forgetStream();
}

void FrameQueue::forgetStream() {
    stream_ = nullptr;
    for (ArvBuffer* buffer : waiting_)
        g_object_unref(buffer);
    waiting_.clear();
    // Who has them lets go of them by giveBack().
    taken_.clear();
    all_ = 0;
}

void FrameQueue::clear() {
    const std::lock_guard<std::mutex> lock(mutex_);
    while (!waiting_.empty())
        giveUpOldest();
}

void FrameQueue::setKeepsAll(bool keepsAll) {
    const std::lock_guard<std::mutex> lock(mutex_);
    keepsAll_ = keepsAll;
    while (!keepsAll_ && waiting_.size() > 1) {
        giveUpOldest();
        ++counts_.overtaken;
    }
}

void FrameQueue::callback(void* queue, int type, ArvBuffer*) {
    FrameQueue& self = *static_cast<FrameQueue*>(queue);
    // Also when a frame begins: whoever gave the buffer back that is filled now did so before, with this
    // lock.
    const std::lock_guard<std::mutex> lock(self.mutex_);
    if (type == ARV_STREAM_CALLBACK_TYPE_BUFFER_DONE)
        self.collect();
}

// Pops what is there, not the buffer that the callback names: that may be another stream's.
void FrameQueue::collect() {
    while (ArvBuffer* buffer = stream_ ? arv_stream_try_pop_buffer(stream_) : nullptr) {
        const Kind kind = kindOf(buffer);
        if (kind != Kind::Empty)
            lastArrival_ = Clock::now();
        switch (kind) {
            case Kind::Good:
                ++counts_.good;
                keep(buffer);
                continue;
            case Kind::Incomplete:
                ++counts_.incomplete;
                break;
            case Kind::Foreign:
                ++counts_.foreign;
                break;
            case Kind::Empty:
                break;
        }
        toStream(buffer);
    }
}

void FrameQueue::keep(ArvBuffer* buffer) {
    waiting_.push_back(buffer);
    while (waiting_.size() > mostWaiting()) {
        giveUpOldest();
        ++counts_.overtaken;
    }
    feedStream();
    changed_.notify_one();
}

size_t FrameQueue::mostWaiting() const {
    if (!keepsAll_)
        return 1;
    return std::clamp<size_t>(kMostBytes / std::max<size_t>(bytes_, 1), 2, kMostWaiting);
}

void FrameQueue::expect(int width, int height) {
    const std::lock_guard<std::mutex> lock(mutex_);
    width_ = width;
    height_ = height;
}

bool FrameQueue::isExpected(ArvBuffer* buffer) const {
    const auto frame = rawFrameOf(buffer);
    return frame && (width_ == 0 || frame->width == width_) && (height_ == 0 || frame->height == height_);
}

FrameQueue::Kind FrameQueue::kindOf(ArvBuffer* buffer) const {
    switch (arv_buffer_get_status(buffer)) {
        case ARV_BUFFER_STATUS_SUCCESS:
            return isExpected(buffer) ? Kind::Good : Kind::Foreign;
        case ARV_BUFFER_STATUS_TIMEOUT:
        case ARV_BUFFER_STATUS_MISSING_PACKETS:
        case ARV_BUFFER_STATUS_WRONG_PACKET_ID:
            return Kind::Incomplete;
        case ARV_BUFFER_STATUS_SIZE_MISMATCH:
            return Kind::Foreign;
        // Not filled, or left when the stream ends.
        case ARV_BUFFER_STATUS_UNKNOWN:
        case ARV_BUFFER_STATUS_CLEARED:
        case ARV_BUFFER_STATUS_FILLING:
        case ARV_BUFFER_STATUS_ABORTED:
            break;
        default:
            return Kind::Incomplete;  // a later Aravis's
    }
    return Kind::Empty;
}

// What the stream would have beyond the wanted number, from a time when many waited, goes.
void FrameQueue::toStream(ArvBuffer* buffer) {
    if (all_ - waiting_.size() - taken_.size() > wanted_) {
        --all_;
        g_object_unref(buffer);
    } else {
        arv_stream_push_buffer(stream_, buffer);
    }
}

// Half of the buffers are the stream's also while frames wait.
void FrameQueue::feedStream() {
    const size_t least = std::max(kFewestFillable, wanted_ / 2);
    while (all_ - waiting_.size() - taken_.size() < least) {
        arv_stream_push_buffer(stream_, arv_buffer_new_allocate(bytes_));
        ++all_;
    }
}

void FrameQueue::giveUpOldest() {
    ArvBuffer* buffer = waiting_.front();
    waiting_.pop_front();
    toStream(buffer);
}

ArvBuffer* FrameQueue::take(TimePoint deadline) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (waiting_.empty() && !wakeIsDue_) {
        ++takers_;
        const uint64_t wakes = wakes_;
        changed_.wait_until(lock, deadline, [&] { return !waiting_.empty() || wakes_ != wakes; });
        --takers_;
    }
    wakeIsDue_ = false;
    if (waiting_.empty())
        return nullptr;
    ArvBuffer* buffer = waiting_.front();
    waiting_.pop_front();
    taken_.push_back(buffer);
    feedStream();
    return buffer;
}

void FrameQueue::giveBack(ArvBuffer* buffer) {
    if (!buffer)
        return;
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = std::find(taken_.begin(), taken_.end(), buffer);
    if (found == taken_.end()) {
        g_object_unref(buffer);
        return;
    }
    taken_.erase(found);
    toStream(buffer);
}

void FrameQueue::wake() {
    {
        const std::lock_guard<std::mutex> lock(mutex_);
        ++wakes_;
        wakeIsDue_ = takers_ == 0;
    }
    changed_.notify_all();
}

FrameQueue::Counts FrameQueue::counts() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return counts_;
}

TimePoint FrameQueue::lastArrival() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return lastArrival_;
}

}  // namespace kvgen
