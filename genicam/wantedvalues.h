// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>

#include "mapping.h"

namespace kvgen {

/// What callers want of one camera and the keeper's thread has not written yet, the newest of each parameter,
/// and what each parameter had when it was last known. Thread-safe; its mutex is held for moments, and
/// nothing is locked under it.
class WantedValues {
public:
    struct Wanted {
        Parameter parameter;
        double value;
    };

    /// Callers: is to be written. Nothing happens where the camera is known to lack the parameter.
    void want(Parameter parameter, double value);
    /// Anybody: what was last wanted or read; none: nothing is known.
    std::optional<double> lastKnown(Parameter parameter) const;
    /// Anybody: whether something is to be written.
    bool isAny() const;
    /// Anybody: to be told apart from what is wanted later.
    uint64_t mark() const;

    /// Keeper: takes out the next one of this order, at most up to `last` where one is named.
    std::optional<Wanted> take(const std::array<Parameter, kParameters>& order,
                               std::optional<Parameter> last = std::nullopt);
    /// Keeper: could not be written, is still wanted unless there is a newer one.
    void putBack(const Wanted& wanted);
    /// Keeper: gives up what was wanted before the mark, and what is known.
    void forgetUntil(uint64_t mark);
    /// Keeper: what the camera says, unless something else is wanted.
    void note(Parameter parameter, double value);
    /// Keeper: neither the camera nor the library has it.
    void noteLack(Parameter parameter);
    /// Keeper: it may be another camera.
    void forgetLacks();

private:
    struct Entry {
        std::optional<double> wanted;
        uint64_t since = 0;  // the mark when it was wanted
        std::optional<double> known;
        bool isLacking = false;
    };
    Entry& of(Parameter parameter) { return entries_[static_cast<size_t>(parameter)]; }
    const Entry& of(Parameter parameter) const { return entries_[static_cast<size_t>(parameter)]; }

    mutable std::mutex mutex_;
    std::array<Entry, kParameters> entries_;
    uint64_t mark_ = 0;
};

}  // namespace kvgen
