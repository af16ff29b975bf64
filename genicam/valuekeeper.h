// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>

#include "camerafeatures.h"
#include "configuration.h"
#include "parameterslots.h"
#include "pixels.h"

namespace kvgen {

/// What the program wants of one camera, parameter by parameter, and what the camera has made of it. Serves
/// by the camera's features, or by the library's own tuning where the camera lacks one and the configuration
/// asks for it. Only on the thread that has the camera; what speaks to the camera takes its features.
class ValueKeeper {
public:
    explicit ValueKeeper(const CameraConfiguration& configuration) : configuration_(configuration) {}

    /// Ok, Disconnected: is wanted from now on, also of a camera that has been opened again. Else nothing has
    /// changed. What an automatic has found when it is switched off is wanted, too.
    Status set(CameraFeatures& features, Parameter parameter, double value);
    /// What was set, while the camera still has what was made of it; else what the camera has.
    Status get(CameraFeatures& features, Parameter parameter, double& value);

    /// Whether this value was set, and the camera still has it.
    bool isAlready(CameraFeatures& features, Parameter parameter, double value);

    /// The camera has what was last set, but for its steps.
    bool isHeld(Parameter parameter) const { return readBack_[static_cast<size_t>(parameter)].has_value(); }
    /// Neither the camera nor the library has it.
    bool isLacking(CameraFeatures& features, Parameter parameter) const;
    /// Without a camera: is wanted, once push() has written it.
    void want(Parameter parameter, double value) { wanted_[parameter] = value; }
    /// What the camera goes by where that is not what is wanted of it: an automatic's exposure and gain.
    Status readAutomatic(CameraFeatures& features, ParameterValues& values);

    /// Writes everything that is wanted; what the camera refuses is left as it is. Disconnected: it has gone.
    template <typename Progress>
    Status push(CameraFeatures& features, Progress progress) {
        for (const Parameter parameter : pushOrder()) {
            const auto& value = wanted_[parameter];
            if (value && write(features, parameter, *value) == Status::Disconnected)
                return Status::Disconnected;
            progress();
        }
        return Status::Ok;
    }

    /// The order in which values do not undo each other: automatics before what they would overrule, the snap
    /// mode last.
    static const std::array<Parameter, kParameters>& pushOrder();

    const ParameterValues& wanted() const { return wanted_; }
    /// From now on wanted, once push() has written them: these and nothing else.
    void want(const ParameterValues& values);
    Tuning tuning() const { return tuning_; }

private:
    Status write(CameraFeatures& features, Parameter parameter, double value);
    Status takeOver(CameraFeatures& features, Parameter automatic);
    bool isInLibrary(CameraFeatures& features, Parameter parameter) const;
    void tune(Parameter parameter, double value);

    const CameraConfiguration configuration_;
    ParameterValues wanted_;
    /// What the camera said right after it was set, where it is the wanted value but for the camera's steps.
    std::array<std::optional<double>, kParameters> readBack_;
    Tuning tuning_;
};

}  // namespace kvgen
