// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "camera.h"
#include "configuration.h"
#include "parameterstore.h"
#include "scene.h"

namespace kvsim {

/// All attached cameras and what they share.
class Library {
public:
    /// The one of this process. Made at the first call from any operation, which reads the configuration;
    /// lives until the process ends, because a capture thread may still be inside when static objects are
    /// destroyed.
    static Library& instance();

    int count() const { return static_cast<int>(cameras_.size()); }
    /// Null if there is no camera of that index.
    Camera* camera(int32_t index) const;

private:
    Library();

    Configuration configuration_;
    Scene scene_;
    ParameterStore store_;
    std::vector<std::unique_ptr<Camera>> cameras_;
};

}  // namespace kvsim
