// SPDX-License-Identifier: Apache-2.0
#include "library.h"

#include "groundtruth.h"

namespace kvsim {

Library& Library::instance() {
    static Library* const library = new Library;
    return *library;
}

Library::Library() : configuration_(readConfiguration()), scene_(configuration_) {
    const TimePoint start = Clock::now();
    for (int i = 0; i < configuration_.cameras.size(); ++i)
        cameras_.push_back(std::make_unique<Camera>(configuration_, scene_, store_, start, i));
    if (!configuration_.groundTruth.isEmpty())
        writeGroundTruth(configuration_.groundTruth, configuration_, scene_);
}

Camera* Library::camera(int32_t index) const {
    return index >= 0 && index < count() ? cameras_[static_cast<size_t>(index)].get() : nullptr;
}

}  // namespace kvsim
