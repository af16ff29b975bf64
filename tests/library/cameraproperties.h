// SPDX-License-Identifier: Apache-2.0
#pragma once

// Every parameter of a camera with values that the program sends, and what the conformance list needs to
// leave a camera as it found it.

#include <QtTest>

#include <cmath>
#include <functional>
#include <vector>

#include "camera/kvcap2.h"

constexpr int kGuard = 64;  // bytes behind every buffer that must stay as they are
constexpr char kGuardByte = 0x5A;

template <typename T>
struct Property {
    const char* name;
    int32_t (*get)(int32_t, T*);
    int32_t (*set)(int32_t, T);
    std::vector<T> values;  // some that the program sends
};

inline const std::vector<Property<double>> kReals{
    {"Gamma", CameraGetGamma, CameraSetGamma, {0.3, 1.0, 1.57, 3.0}},
    {"Contrast", CameraGetContrast, CameraSetContrast, {0.0, 0.5, 1.0, 2.0}},
    {"Saturation", CameraGetSaturation, CameraSetSaturation, {0.0, 0.5, 1.0, 2.0}},
};

inline const std::vector<Property<int32_t>> kIntegers{
    {"BlackLevel", CameraGetBlackLevel, CameraSetBlackLevel, {0, 17, 255}},
    {"AdvancedGain", CameraGetAdvancedGain, CameraSetAdvancedGain, {0, 1, 2, 3}},
    {"Gain", CameraGetGain, CameraSetGain, {16, 100, 255}},
    {"Exposure", CameraGetExposure, CameraSetExposure, {8, 300, 4000}},
    {"AETarget", CameraGetAETarget, CameraSetAETarget, {0, 100, 255}},
    {"Timeout", CameraGetTimeout, CameraSetTimeout, {500, 1500, 5000}},
    {"AntiFlicker", CameraGetAntiFlicker, CameraSetAntiFlicker, {0, 1, 2}},
    {"Delay", CameraGetDelay, CameraSetDelay, {0, 100, 1000}},
    {"SnapMode", CameraGetSnapMode, CameraSetSnapMode, {kSnapTriggered, kSnapContinuous}},
};

inline const std::vector<Property<bool>> kFlags{
    {"AGC", CameraGetAGC, CameraSetAGC, {true, false}},
    {"AEC", CameraGetAEC, CameraSetAEC, {true, false}},
    {"MirrorX", CameraGetMirrorX, CameraSetMirrorX, {true, false}},
    {"MirrorY", CameraGetMirrorY, CameraSetMirrorY, {true, false}},
    {"Highspeed", CameraGetHighspeed, CameraSetHighspeed, {true, false}},
};

inline bool isAlike(double a, double b) {
    return std::abs(a - b) < 0.005;  // the dialog shows hundredths
}

inline bool isAlike(int32_t a, int32_t b) {
    return a == b;
}

inline bool isAlike(bool a, bool b) {
    return a == b;
}

/// All parameters of one camera, to put back what a test changed.
class Snapshot {
public:
    explicit Snapshot(int32_t camera) : camera_(camera) {
        remember(kReals);
        remember(kFlags);
        remember(kIntegers);
        int32_t width = 0;
        int32_t height = 0;
        int32_t count = 0;
        CameraGetImageSize(camera, &width, &height);
        CameraGetResolutionCount(camera, &count);
        for (int32_t mode = 0; mode < count; ++mode) {
            int32_t w = 0;
            int32_t h = 0;
            CameraGetResolution(camera, mode, &w, &h);
            if (w == width && h == height) {
                restore_.push_back([=] { CameraSetResolution(camera, mode, w, h); });
                break;
            }
        }
    }
    ~Snapshot() {
        for (const auto& restore : restore_)
            restore();
    }
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

private:
    template <typename T>
    void remember(const std::vector<Property<T>>& properties) {
        for (const Property<T>& property : properties) {
            T value{};
            if (property.get(camera_, &value) == 0)
                restore_.push_back([=] { property.set(camera_, value); });
        }
    }

    int32_t camera_;
    std::vector<std::function<void()>> restore_;
};

/// A frame buffer of the announced length with guard bytes behind it.
struct Buffer {
    Buffer(int32_t camera, int32_t format, char fill = 0) {
        CameraGetImageBufferSize(camera, &announced, format);
        length = announced;
        bytes = QByteArray(announced, fill) + QByteArray(kGuard, kGuardByte);
    }
    int32_t query(int32_t camera, int32_t format) {
        length = announced;
        return CameraQueryImage(camera, data(), &length, format);
    }
    uint8_t* data() { return reinterpret_cast<uint8_t*>(bytes.data()); }
    bool isGuardIntact() const { return bytes.endsWith(QByteArray(kGuard, kGuardByte)); }

    QByteArray bytes;
    int32_t announced = 0;
    int32_t length = 0;
};
