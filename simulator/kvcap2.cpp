// SPDX-License-Identifier: Apache-2.0
// The exported operations: check the arguments, find the camera, keep exceptions inside.

#if defined(__GNUC__) && !defined(_WIN32)
#pragma GCC visibility push(default)
#include "camera/kvcap2.h"
#pragma GCC visibility pop
#else
#include "camera/kvcap2.h"
#endif

#include <algorithm>
#include <cmath>
#include <cstring>
#include <exception>
#include <limits>
#include <type_traits>

#include "library.h"
#include "parameters.h"
#include "status.h"

using kvsim::Camera;
using kvsim::Library;
using kvsim::Parameters;
using kvsim::Status;

namespace {

/// Runs an operation behind the C border, which no exception may cross.
template <typename Operation>
int32_t guarded(Operation operation) {
    try {
        return static_cast<int32_t>(operation());
    } catch (const std::exception&) {
        return static_cast<int32_t>(Status::DeviceFailure);
    }
}

/// The same for an operation on one camera.
template <typename Operation>
int32_t onCamera(int32_t index, Operation operation) {
    return guarded([&] {
        Camera* camera = Library::instance().camera(index);
        return camera != nullptr ? operation(*camera) : Status::BadIndex;
    });
}

template <typename T>
int32_t getParameter(int32_t index, T* value, T Parameters::*member) {
    return onCamera(index, [=](Camera& camera) {
        if (value == nullptr)
            return Status::BadArgument;
        return camera.get([=](const Parameters& parameters) { *value = parameters.*member; });
    });
}

template <typename T>
int32_t setParameter(int32_t index, T value, T Parameters::*member) {
    return onCamera(index, [=](Camera& camera) {
        if constexpr (std::is_floating_point_v<T>) {
            if (std::isnan(value))
                return Status::BadArgument;
        }
        return camera.set([=](Parameters& parameters) { parameters.*member = value; });
    });
}

/// A parameter that is one of a few numbers, `low` to `high`.
int32_t setChoice(int32_t index, int32_t value, int32_t Parameters::*member, int32_t low, int32_t high) {
    if (value < low || value > high)
        return static_cast<int32_t>(Status::BadArgument);
    return setParameter(index, value, member);
}

int channelsOf(int32_t format) {
    switch (format) {
        case kFormatMono8:
            return 1;
        case kFormatRgb24:
            return 3;
        default:
            return 0;
    }
}

}  // namespace

int32_t CameraGetCount(int32_t* count) {
    return guarded([=] {
        if (count == nullptr)
            return Status::BadArgument;
        *count = Library::instance().count();
        return Status::Ok;
    });
}

int32_t CameraInit(int32_t index) {
    return onCamera(index, [](Camera& camera) { return camera.init(); });
}

int32_t CameraFree(int32_t index) {
    return onCamera(index, [](Camera& camera) { return camera.free(); });
}

int32_t CameraReadSerialNumber(int32_t index, char* buffer, int32_t length) {
    return onCamera(index, [=](Camera& camera) {
        if (buffer == nullptr || length <= 0)
            return Status::BadArgument;
        const Status status = camera.checkOpen();
        if (status != Status::Ok)
            return status;
        const QByteArray serial = camera.serial();
        const auto room = static_cast<size_t>(std::min(length, kSerialNumberLength));
        const size_t used = std::min(room, static_cast<size_t>(serial.size()));
        std::memcpy(buffer, serial.constData(), used);
        std::memset(buffer + used, 0, room - used);
        return Status::Ok;
    });
}

int32_t CameraGetImageSize(int32_t index, int32_t* width, int32_t* height) {
    return onCamera(index, [=](Camera& camera) {
        if (width == nullptr || height == nullptr)
            return Status::BadArgument;
        QSize size;
        const Status status = camera.frameSize(size);
        if (status == Status::Ok) {
            *width = size.width();
            *height = size.height();
        }
        return status;
    });
}

int32_t CameraGetImageBufferSize(int32_t index, int32_t* length, int32_t format) {
    return onCamera(index, [=](Camera& camera) {
        const int channels = channelsOf(format);
        if (length == nullptr || channels == 0)
            return Status::BadArgument;
        QSize size;
        const Status status = camera.frameSize(size);
        if (status == Status::Ok)
            *length = size.width() * size.height() * channels;
        return status;
    });
}

int32_t CameraQueryImage(int32_t index, uint8_t* buffer, int32_t* length, int32_t format) {
    return onCamera(index, [=](Camera& camera) {
        const int channels = channelsOf(format);
        if (buffer == nullptr || length == nullptr || channels == 0)
            return Status::BadArgument;
        return camera.query(buffer, *length, channels);
    });
}

int32_t CameraTriggerShot(int32_t index) {
    return onCamera(index, [](Camera& camera) { return camera.trigger(); });
}

int32_t CameraGetGamma(int32_t index, double* value) {
    return getParameter(index, value, &Parameters::gamma);
}

int32_t CameraSetGamma(int32_t index, double value) {
    return setParameter(index, value, &Parameters::gamma);
}

int32_t CameraGetContrast(int32_t index, double* value) {
    return getParameter(index, value, &Parameters::contrast);
}

int32_t CameraSetContrast(int32_t index, double value) {
    return setParameter(index, value, &Parameters::contrast);
}

int32_t CameraGetSaturation(int32_t index, double* value) {
    return getParameter(index, value, &Parameters::saturation);
}

int32_t CameraSetSaturation(int32_t index, double value) {
    return setParameter(index, value, &Parameters::saturation);
}

int32_t CameraGetBlackLevel(int32_t index, int32_t* value) {
    return getParameter(index, value, &Parameters::blackLevel);
}

int32_t CameraSetBlackLevel(int32_t index, int32_t value) {
    return setParameter(index, value, &Parameters::blackLevel);
}

int32_t CameraGetAdvancedGain(int32_t index, int32_t* value) {
    return getParameter(index, value, &Parameters::advancedGain);
}

int32_t CameraSetAdvancedGain(int32_t index, int32_t value) {
    return setParameter(index, value, &Parameters::advancedGain);
}

int32_t CameraGetGain(int32_t index, int32_t* value) {
    return getParameter(index, value, &Parameters::gain);
}

int32_t CameraSetGain(int32_t index, int32_t value) {
    return setParameter(index, value, &Parameters::gain);
}

int32_t CameraGetAGC(int32_t index, bool* on) {
    return getParameter(index, on, &Parameters::agc);
}

int32_t CameraSetAGC(int32_t index, bool on) {
    return setParameter(index, on, &Parameters::agc);
}

int32_t CameraGetAEC(int32_t index, bool* on) {
    return getParameter(index, on, &Parameters::aec);
}

int32_t CameraSetAEC(int32_t index, bool on) {
    return setParameter(index, on, &Parameters::aec);
}

int32_t CameraGetExposure(int32_t index, int32_t* value) {
    return getParameter(index, value, &Parameters::exposure);
}

int32_t CameraSetExposure(int32_t index, int32_t value) {
    return setParameter(index, value, &Parameters::exposure);
}

int32_t CameraGetAETarget(int32_t index, int32_t* value) {
    return getParameter(index, value, &Parameters::aeTarget);
}

int32_t CameraSetAETarget(int32_t index, int32_t value) {
    return setParameter(index, value, &Parameters::aeTarget);
}

int32_t CameraGetTimeout(int32_t index, int32_t* value) {
    return getParameter(index, value, &Parameters::timeout);
}

int32_t CameraSetTimeout(int32_t index, int32_t value) {
    return setParameter(index, value, &Parameters::timeout);
}

int32_t CameraGetAntiFlicker(int32_t index, int32_t* mode) {
    return getParameter(index, mode, &Parameters::antiFlicker);
}

int32_t CameraSetAntiFlicker(int32_t index, int32_t mode) {
    return setChoice(index, mode, &Parameters::antiFlicker, 0, 2);
}

int32_t CameraGetMirrorX(int32_t index, bool* on) {
    return getParameter(index, on, &Parameters::mirrorX);
}

int32_t CameraSetMirrorX(int32_t index, bool on) {
    return setParameter(index, on, &Parameters::mirrorX);
}

int32_t CameraGetMirrorY(int32_t index, bool* on) {
    return getParameter(index, on, &Parameters::mirrorY);
}

int32_t CameraSetMirrorY(int32_t index, bool on) {
    return setParameter(index, on, &Parameters::mirrorY);
}

int32_t CameraGetHighspeed(int32_t index, bool* on) {
    return getParameter(index, on, &Parameters::highspeed);
}

int32_t CameraSetHighspeed(int32_t index, bool on) {
    return setParameter(index, on, &Parameters::highspeed);
}

int32_t CameraGetDelay(int32_t index, int32_t* value) {
    return getParameter(index, value, &Parameters::delay);
}

int32_t CameraSetDelay(int32_t index, int32_t value) {
    return setParameter(index, value, &Parameters::delay);
}

int32_t CameraGetSnapMode(int32_t index, int32_t* mode) {
    return getParameter(index, mode, &Parameters::snapMode);
}

int32_t CameraSetSnapMode(int32_t index, int32_t mode) {
    return setChoice(index, mode, &Parameters::snapMode, kSnapContinuous, kSnapTriggered);
}

int32_t CameraGetResolutionCount(int32_t index, int32_t* count) {
    return onCamera(index, [=](Camera& camera) {
        if (count == nullptr)
            return Status::BadArgument;
        return camera.get([&](const Parameters&) { *count = camera.modes().size(); });
    });
}

int32_t CameraGetResolution(int32_t index, int32_t mode, int32_t* width, int32_t* height) {
    return onCamera(index, [=](Camera& camera) {
        if (width == nullptr || height == nullptr || mode < 0 || mode >= camera.modes().size())
            return Status::BadArgument;
        return camera.get([&](const Parameters&) {
            *width = camera.modes()[mode].width();
            *height = camera.modes()[mode].height();
        });
    });
}

int32_t CameraSetResolution(int32_t index, int32_t mode, int32_t width, int32_t height) {
    return onCamera(index, [=](Camera& camera) {
        if (mode < 0 || mode >= camera.modes().size() || camera.modes()[mode] != QSize(width, height))
            return Status::BadArgument;
        return camera.set([=](Parameters& parameters) { parameters.mode = mode; });
    });
}

int32_t CameraLoadParameter(int32_t index, int32_t slot) {
    return onCamera(index, [=](Camera& camera) {
        return slot >= 0 && slot < kvsim::kParameterSlots ? camera.load(slot) : Status::BadArgument;
    });
}

int32_t CameraSaveParameter(int32_t index, int32_t slot) {
    return onCamera(index, [=](Camera& camera) {
        return slot >= 0 && slot < kvsim::kParameterSlots ? camera.save(slot) : Status::BadArgument;
    });
}
