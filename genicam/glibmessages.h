// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace kvgen {

constexpr int kNoCamera = -1;

/// From now on, what GLib, Aravis and libxml complain of on this thread goes into our log, each kind of line
/// once for a camera, in one line. The program's own threads, and what else it does with GLib, are left alone
/// but for lines that only Aravis writes.
void takeMessages(int camera);

}  // namespace kvgen
