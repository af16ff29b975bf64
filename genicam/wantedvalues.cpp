// SPDX-License-Identifier: Apache-2.0
#include "wantedvalues.h"

#include <algorithm>

namespace kvgen {

void WantedValues::want(Parameter parameter, double value) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Entry& entry = of(parameter);
    if (entry.isLacking)
        return;
    entry.wanted = value;
    entry.since = ++mark_;
    entry.known = value;
}

std::optional<double> WantedValues::lastKnown(Parameter parameter) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return of(parameter).known;
}

bool WantedValues::isAny() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return std::any_of(entries_.begin(), entries_.end(),
                       [](const Entry& entry) { return entry.wanted.has_value(); });
}

uint64_t WantedValues::mark() const {
    const std::lock_guard<std::mutex> lock(mutex_);
    return mark_;
}

std::optional<WantedValues::Wanted> WantedValues::take(const std::array<Parameter, kParameters>& order,
                                                       std::optional<Parameter> last) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (const Parameter parameter : order) {
        Entry& entry = of(parameter);
        if (entry.wanted) {
            const Wanted wanted{parameter, *entry.wanted};
            entry.wanted.reset();
            return wanted;
        }
        if (parameter == last)
            break;
    }
    return std::nullopt;
}

void WantedValues::putBack(const Wanted& wanted) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Entry& entry = of(wanted.parameter);
    if (!entry.wanted)
        entry.wanted = wanted.value;
}

void WantedValues::forgetUntil(uint64_t mark) {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Entry& entry : entries_) {
        if (entry.since > mark)
            continue;
        entry.wanted.reset();
        entry.known.reset();
    }
}

void WantedValues::note(Parameter parameter, double value) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Entry& entry = of(parameter);
    if (!entry.wanted)
        entry.known = value;
}

void WantedValues::noteLack(Parameter parameter) {
    const std::lock_guard<std::mutex> lock(mutex_);
    Entry& entry = of(parameter);
    entry.isLacking = true;
    entry.wanted.reset();
    entry.known.reset();
}

void WantedValues::forgetLacks() {
    const std::lock_guard<std::mutex> lock(mutex_);
    for (Entry& entry : entries_)
        entry.isLacking = false;
}

}  // namespace kvgen
