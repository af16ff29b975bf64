// SPDX-License-Identifier: Apache-2.0
#include "accesses.h"

#include "featurenode.h"

namespace kvgen {

namespace {

thread_local bool isAnswered = false;
thread_local bool isUnanswered = false;

}  // namespace

void countAccess(const GError* error) {
    (statusOf(error) == Status::Disconnected ? isUnanswered : isAnswered) = true;
}

bool hasUnanswered() {
    return isUnanswered;
}

bool takeAnswered() {
    const bool result = isAnswered && !isUnanswered;
    isAnswered = false;
    return result;
}

void forgetAccesses() {
    isAnswered = false;
    isUnanswered = false;
}

}  // namespace kvgen
