// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include "fakeoptions.h"

namespace fake {

/// The description of a camera with these options, as it lies in its memory: named by the GenICam standard
/// feature naming, over the registers of fakeregisters.h.
QByteArray description(const Options& options);

}  // namespace fake
