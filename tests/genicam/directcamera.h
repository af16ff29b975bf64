// SPDX-License-Identifier: Apache-2.0
#pragma once

// Before Qt, which has a macro of a name that this uses.
#include <arv.h>

#include <QByteArray>
#include <QString>

#include <cstdint>

#include "scene.h"

/// A frame as it was sent, packed.
struct SentFrame {
    QByteArray pixels;  ///< empty: none came in time
    int width = 0;
    int height = 0;
    uint32_t format = 0;
    bool isComplete = false;

    int channels() const {
        return format == ARV_PIXEL_FORMAT_RGB_8_PACKED || format == ARV_PIXEL_FORMAT_BGR_8_PACKED ? 3 : 1;
    }
    const uint8_t* data() const { return reinterpret_cast<const uint8_t*>(pixels.constData()); }
    const uint8_t* at(int x, int y) const {
        return data() + (static_cast<int64_t>(y) * width + x) * channels();
    }
    uint32_t number() const { return fake::readStamp(data(), width, channels(), 0); }
    uint32_t numberBelow() const {
        return fake::readStamp(data(), width, channels(), height - fake::kStampHeight);
    }
};

/// A camera by Aravis alone, opened by its address. Every call waits as long as Aravis does.
class DirectCamera {
public:
    explicit DirectCamera(const QString& address);
    ~DirectCamera();
    DirectCamera(const DirectCamera&) = delete;
    DirectCamera& operator=(const DirectCamera&) = delete;

    /// What Aravis said last when something failed.
    QString error() const { return error_; }
    bool isOpen() const { return camera_ != nullptr; }
    ArvDevice* device() const { return arv_camera_get_device(camera_); }
    ArvCamera* camera() const { return camera_; }

    bool set(const char* feature, double value);
    bool choose(const char* feature, const char* entry);
    bool execute(const char* command);
    double real(const char* feature);
    bool isOn(const char* feature);
    QByteArray text(const char* feature);

    /// Makes the buffers for the size that the camera has now, and begins.
    bool start();
    void stop();
    /// The next frame, complete or not; empty if none comes within `timeout` ms.
    SentFrame next(int timeout = 3000);
    /// The next complete one that was exposed after this call.
    SentFrame fresh(int timeout = 5000);
    /// Frames that Aravis could not complete.
    uint64_t failures() const;

private:
    bool note(GError* error);

    ArvCamera* camera_ = nullptr;
    ArvStream* stream_ = nullptr;
    QString error_;
};
