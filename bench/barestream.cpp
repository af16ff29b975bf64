// SPDX-License-Identifier: Apache-2.0
#include "barestream.h"

#include <arv.h>

#include <atomic>
#include <thread>

struct BareStreams::Stream {
    ArvCamera* camera = nullptr;
    ArvStream* stream = nullptr;
    std::atomic<bool> isOver{false};
    std::atomic<int> incomplete{0};
    std::thread loop;
};

namespace {

constexpr int kBuffers = 8;
constexpr guint64 kPatience = 100'000;  // us

}  // namespace

BareStreams::BareStreams(const std::vector<const char*>& addresses, int packet, int buffer, Arrived arrived) {
    for (const char* address : addresses) {
        const auto index = static_cast<int>(streams_.size());
        streams_.push_back(std::make_unique<Stream>());
        Stream* one = streams_.back().get();
        one->camera = arv_camera_new(address, nullptr);
        if (!one->camera)
            return;
        arv_camera_gv_set_packet_size(one->camera, packet, nullptr);
        one->stream = arv_camera_create_stream(one->camera, nullptr, nullptr, nullptr);
        if (!one->stream)
            return;
        g_object_set(one->stream, "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_FIXED, "socket-buffer-size",
                     buffer, nullptr);
        const guint payload = arv_camera_get_payload(one->camera, nullptr);
        for (int i = 0; i < kBuffers; ++i)
            arv_stream_push_buffer(one->stream, arv_buffer_new_allocate(payload));
        arv_camera_start_acquisition(one->camera, nullptr);
        one->loop = std::thread([one, index, arrived] {
            while (!one->isOver) {
                ArvBuffer* frame = arv_stream_timeout_pop_buffer(one->stream, kPatience);
                if (!frame)
                    continue;
                if (arv_buffer_get_status(frame) == ARV_BUFFER_STATUS_SUCCESS) {
                    size_t size = 0;
                    const auto* pixels = static_cast<const uint8_t*>(arv_buffer_get_data(frame, &size));
                    arrived(index, pixels, arv_buffer_get_image_width(frame),
                            arv_buffer_get_image_height(frame));
                } else {
                    ++one->incomplete;
                }
                arv_stream_push_buffer(one->stream, frame);
            }
        });
    }
}

BareStreams::~BareStreams() {
    for (const auto& one : streams_)
        one->isOver = true;
    for (const auto& one : streams_) {
        if (one->loop.joinable())
            one->loop.join();
        if (one->camera)
            arv_camera_stop_acquisition(one->camera, nullptr);
        g_clear_object(&one->stream);
        g_clear_object(&one->camera);
    }
}

bool BareStreams::areRunning() const {
    for (const auto& one : streams_) {
        if (!one->loop.joinable())
            return false;
    }
    return true;
}

int BareStreams::incomplete() const {
    int sum = 0;
    for (const auto& one : streams_)
        sum += one->incomplete;
    return sum;
}
