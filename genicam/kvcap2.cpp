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
#include <optional>

#include "library.h"

using kvgen::Keeper;
using kvgen::Library;
using kvgen::Parameter;
using kvgen::Status;

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

/// The same for an operation on one camera, open or not.
template <typename Operation>
int32_t onCamera(int32_t index, Operation operation) {
    return guarded([&] {
        kvgen::Camera* camera = Library::instance().camera(index);
        return camera != nullptr ? operation(*camera) : Status::BadIndex;
    });
}

/// The same for an operation on an open camera, if its arguments are right.
template <typename Operation>
int32_t onOpen(int32_t index, bool isRight, Operation operation) {
    return onCamera(index, [&](kvgen::Camera& camera) {
        if (!isRight)
            return Status::BadArgument;
        // It holds the keeper, so that CameraFree in between is safe.
        const std::shared_ptr<Keeper> keeper = camera.keeper();
        return keeper ? operation(*keeper) : Status::NotOpen;
    });
}

template <typename T>
T fromValue(double value) {
    if constexpr (std::is_same_v<T, bool>) {
        return value != 0;
    } else if constexpr (std::is_same_v<T, int32_t>) {
        constexpr double kLow = std::numeric_limits<int32_t>::min();
        constexpr double kHigh = std::numeric_limits<int32_t>::max();
        return static_cast<int32_t>(std::lround(std::clamp(value, kLow, kHigh)));
    } else {
        return value;
    }
}

template <Parameter parameter, typename T>
int32_t get(int32_t index, T* target) {
    return onOpen(index, target != nullptr, [=](Keeper& keeper) {
        // Of a camera that is away, too: a dialog shows what it had rather than nothing.
        std::optional<double> value;
        const Status status = keeper.get(parameter, value);
        if (value)
            *target = fromValue<T>(*value);
        return status;
    });
}

template <Parameter parameter, typename T>
int32_t set(int32_t index, T value) {
    const auto accepted = kvgen::accepted(parameter, static_cast<double>(value));
    return onOpen(index, accepted.has_value(),
                  [=](Keeper& keeper) { return keeper.set(parameter, *accepted); });
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

bool isSlot(int32_t slot) {
    return slot >= 0 && slot < kvgen::kParameterSlots;
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
    return onCamera(index, [](kvgen::Camera& camera) { return camera.init(); });
}

int32_t CameraFree(int32_t index) {
    return onCamera(index, [](kvgen::Camera& camera) { return camera.free(); });
}

int32_t CameraReadSerialNumber(int32_t index, char* buffer, int32_t length) {
    return onOpen(index, buffer != nullptr && length > 0, [=](Keeper&) {
        const QByteArray serial = Library::instance().serial(index);
        if (serial.isEmpty())
            return Status::Disconnected;
        const auto room = static_cast<size_t>(std::min(length, kSerialNumberLength));
        const size_t used = std::min(room, static_cast<size_t>(serial.size()));
        std::memcpy(buffer, serial.constData(), used);
        std::memset(buffer + used, 0, room - used);
        return Status::Ok;
    });
}

int32_t CameraGetImageSize(int32_t index, int32_t* width, int32_t* height) {
    return onOpen(index, width != nullptr && height != nullptr, [=](Keeper& keeper) {
        QSize size;
        const Status status = keeper.frameSize(size);
        if (status == Status::Ok) {
            *width = size.width();
            *height = size.height();
        }
        return status;
    });
}

int32_t CameraGetImageBufferSize(int32_t index, int32_t* length, int32_t format) {
    const int channels = channelsOf(format);
    return onOpen(index, length != nullptr && channels != 0, [=](Keeper& keeper) {
        QSize size;
        const Status status = keeper.frameSize(size);
        if (status == Status::Ok)
            *length = size.width() * size.height() * channels;
        return status;
    });
}

int32_t CameraQueryImage(int32_t index, uint8_t* buffer, int32_t* length, int32_t format) {
    const int channels = channelsOf(format);
    return onOpen(index, buffer != nullptr && length != nullptr && channels != 0,
                  [=](Keeper& keeper) { return keeper.query(buffer, *length, channels); });
}

int32_t CameraTriggerShot(int32_t index) {
    return onOpen(index, true, [](Keeper& keeper) { return keeper.shoot(); });
}

// A getter and a setter for each parameter that cameras have. A type has no parentheses.
// NOLINTBEGIN(bugprone-macro-parentheses)
#define KVGEN_PARAMETER(name, parameter, type)            \
    int32_t CameraGet##name(int32_t index, type* value) { \
        return get<Parameter::parameter>(index, value);   \
    }                                                     \
    int32_t CameraSet##name(int32_t index, type value) {  \
        return set<Parameter::parameter>(index, value);   \
    }

KVGEN_PARAMETER(Gamma, Gamma, double)
KVGEN_PARAMETER(Contrast, Contrast, double)
KVGEN_PARAMETER(Saturation, Saturation, double)
KVGEN_PARAMETER(BlackLevel, BlackLevel, int32_t)
KVGEN_PARAMETER(AdvancedGain, AdvancedGain, int32_t)
KVGEN_PARAMETER(Gain, Gain, int32_t)
KVGEN_PARAMETER(AGC, Agc, bool)
KVGEN_PARAMETER(AEC, Aec, bool)
KVGEN_PARAMETER(Exposure, Exposure, int32_t)
KVGEN_PARAMETER(AETarget, AeTarget, int32_t)
KVGEN_PARAMETER(AntiFlicker, AntiFlicker, int32_t)
KVGEN_PARAMETER(MirrorX, MirrorX, bool)
KVGEN_PARAMETER(MirrorY, MirrorY, bool)
KVGEN_PARAMETER(Highspeed, Highspeed, bool)
KVGEN_PARAMETER(Delay, Delay, int32_t)
KVGEN_PARAMETER(SnapMode, SnapMode, int32_t)

#undef KVGEN_PARAMETER
// NOLINTEND(bugprone-macro-parentheses)

int32_t CameraGetTimeout(int32_t index, int32_t* value) {
    return onOpen(index, value != nullptr, [=](Keeper& keeper) { return keeper.timeout(*value); });
}

int32_t CameraSetTimeout(int32_t index, int32_t value) {
    return onOpen(index, true, [=](Keeper& keeper) { return keeper.setTimeout(value); });
}

int32_t CameraGetResolutionCount(int32_t index, int32_t* count) {
    return onOpen(index, count != nullptr, [=](Keeper& keeper) {
        QVector<QSize> modes;
        const Status status = keeper.modes(modes);
        *count = modes.size();
        return status;
    });
}

int32_t CameraGetResolution(int32_t index, int32_t mode, int32_t* width, int32_t* height) {
    return onOpen(index, width != nullptr && height != nullptr, [=](Keeper& keeper) {
        QVector<QSize> modes;
        const Status status = keeper.modes(modes);
        if (status != Status::Ok)
            return status;
        if (mode < 0 || mode >= modes.size())
            return Status::BadArgument;
        *width = modes[mode].width();
        *height = modes[mode].height();
        return Status::Ok;
    });
}

int32_t CameraSetResolution(int32_t index, int32_t mode, int32_t width, int32_t height) {
    return onOpen(index, true, [=](Keeper& keeper) {
        QVector<QSize> modes;
        const Status status = keeper.modes(modes);
        if (status != Status::Ok)
            return status;
        if (mode < 0 || mode >= modes.size() || modes[mode] != QSize(width, height))
            return Status::BadArgument;
        return keeper.setMode(mode);
    });
}

int32_t CameraLoadParameter(int32_t index, int32_t slot) {
    return onOpen(index, isSlot(slot), [=](Keeper& keeper) { return keeper.load(slot); });
}

int32_t CameraSaveParameter(int32_t index, int32_t slot) {
    return onOpen(index, isSlot(slot), [=](Keeper& keeper) { return keeper.save(slot); });
}
