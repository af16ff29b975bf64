// SPDX-License-Identifier: Apache-2.0
/// What the cameras themselves cost: the processor time that is spent inside the camera library for frames.
#pragma once

/// Seconds of processor time that all threads of this process have spent in CameraQueryImage so far. Counted
/// when a query returns. Any thread.
///
/// A program that links this has its own CameraQueryImage, which calls the library's: so the same run tells
/// what the cameras take and what the program does.
double cameraSeconds();
