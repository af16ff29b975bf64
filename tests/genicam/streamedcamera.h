// SPDX-License-Identifier: Apache-2.0
#pragma once

// Before Qt, whose "signals" is a name in it.
#include <arv.h>

#include "framequeue.h"

/// As a stream calls it: the queue is what it was given.
inline void takeCallback(void* queue, ArvStreamCallbackType type, ArvBuffer* buffer) {
    kvgen::FrameQueue::callback(queue, type, buffer);
}

/// Aravis's fake camera within this process, and its stream, which runs by itself and fills what it gets.
class FakeCamera {
public:
    explicit FakeCamera(kvgen::FrameQueue& queue, int width = 64, uint32_t format = ARV_PIXEL_FORMAT_MONO_8)
        : camera_(arv_camera_new("Fake_1", nullptr)) {
        set(ARV_FAKE_CAMERA_REGISTER_ACQUISITION_FRAME_PERIOD_US, 2000);
        set(ARV_FAKE_CAMERA_REGISTER_WIDTH, static_cast<uint32_t>(width));
        set(ARV_FAKE_CAMERA_REGISTER_HEIGHT, kHeight);
        set(ARV_FAKE_CAMERA_REGISTER_PIXEL_FORMAT, format);
        payload_ = arv_camera_get_payload(camera_, nullptr);
        stream_ = arv_camera_create_stream(camera_, takeCallback, &queue, nullptr);
    }
    ~FakeCamera() {
        // A stream that is stopped already complains about its end.
        if (!runs_)
            start();
        g_clear_object(&stream_);
        g_clear_object(&camera_);
    }
    FakeCamera(const FakeCamera&) = delete;
    FakeCamera& operator=(const FakeCamera&) = delete;

    ArvStream* stream() const { return stream_; }
    size_t payload() const { return payload_; }
    /// No callback runs afterwards.
    void stop() {
        arv_stream_stop_thread(stream_, FALSE);
        runs_ = false;
    }
    void start() {
        arv_stream_start_thread(stream_);
        runs_ = true;
    }
    /// Buffers that the stream has to fill; none may be left in its other queue.
    int fillable() const {
        int input = 0;
        int output = 0;
        arv_stream_get_n_buffers(stream_, &input, &output);
        return output == 0 ? input : -1;
    }
    /// Frames for which there was no buffer, those before the queue gave it any included.
    int missed() const {
        guint64 underruns = 0;
        arv_stream_get_statistics(stream_, nullptr, nullptr, &underruns);
        return static_cast<int>(underruns);
    }

    static constexpr int kHeight = 48;

private:
    void set(uint32_t address, uint32_t value) {
        arv_fake_camera_write_register(
            arv_fake_device_get_fake_camera(ARV_FAKE_DEVICE(arv_camera_get_device(camera_))), address, value);
    }

    ArvCamera* camera_;
    ArvStream* stream_ = nullptr;
    size_t payload_ = 0;
    bool runs_ = true;
};
