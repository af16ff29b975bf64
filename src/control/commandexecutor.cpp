// SPDX-License-Identifier: Apache-2.0
#include "control/commandexecutor.h"

#include <QTimer>
#include <algorithm>
#include <iterator>
#include <utility>

#include "camera/kvcap2.h"

namespace {

using Kind = SerialCommand::Kind;

constexpr int32_t kParameterSet = 0;  // the one that the settings dialog uses

struct CameraCall {
    Kind kind;
    int32_t (*call)(int32_t camera, double value);
};

/// Which operation of the camera library a command stands for.
constexpr CameraCall kCameraCalls[] = {
    {Kind::Gamma, [](int32_t camera, double value) { return CameraSetGamma(camera, value); }},
    {Kind::Contrast, [](int32_t camera, double value) { return CameraSetContrast(camera, value); }},
    {Kind::Exposure,
     [](int32_t camera, double value) { return CameraSetExposure(camera, wholeValue(value)); }},
    {Kind::Gain, [](int32_t camera, double value) { return CameraSetGain(camera, wholeValue(value)); }},
    {Kind::AdvancedGain,
     [](int32_t camera, double value) { return CameraSetAdvancedGain(camera, wholeValue(value)); }},
    {Kind::Save, [](int32_t camera, double) { return CameraSaveParameter(camera, kParameterSet); }},
};

}  // namespace

CommandExecutor::CommandExecutor(int count, Actions what, QObject* parent)
    : QObject(parent), cameraCount(count), actions(std::move(what)) {}

void CommandExecutor::execute(const SerialCommand& command) {
    if (command.kind == Kind::None)
        return;
    actions.show(command.echo);
    switch (command.kind) {
        case Kind::None:
            break;
        case Kind::Trigger:
            trigger();
            break;
        case Kind::SetDelay:
            if (command.delay >= 1)
                actions.setSaveDelay(command.delay);
            break;
        case Kind::Gamma:
        case Kind::Contrast:
        case Kind::Exposure:
        case Kind::Gain:
        case Kind::AdvancedGain:
            callCameras(command);
            actions.parametersChanged();
            break;
        case Kind::Save:
            callCameras(command);
            break;
    }
}

void CommandExecutor::trigger() {
    // Each trigger has its own time; none cancels another.
    if (actions.saveDelay() < 1)
        actions.save();
    else
        QTimer::singleShot(actions.saveDelay(), Qt::PreciseTimer, this, [this] { actions.save(); });
}

void CommandExecutor::callCameras(const SerialCommand& command) const {
    const auto* const entry =
        std::find_if(std::begin(kCameraCalls), std::end(kCameraCalls),
                     [&](const CameraCall& candidate) { return candidate.kind == command.kind; });
    if (entry == std::end(kCameraCalls))
        return;
    const int first = std::max(command.camera, 0);
    const int last = command.camera < 0 ? cameraCount - 1 : std::min(command.camera, cameraCount - 1);
    for (int camera = first; camera <= last; ++camera)
        entry->call(camera, command.value);
}
