// SPDX-License-Identifier: Apache-2.0
#pragma once

typedef struct _GError GError;

namespace kvgen {

/// What has come of this thread's accesses to a camera. Each counts where its error is looked at; only the
/// thread that has the camera makes any.
void countAccess(const GError* error);

/// Whether one has had no answer since forgetAccesses().
bool hasUnanswered();

/// Whether there were any since the last call, and none since forgetAccesses() has had no answer; a refusal
/// is one. Then the camera lives.
bool takeAnswered();

void forgetAccesses();

}  // namespace kvgen
