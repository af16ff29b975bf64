// SPDX-License-Identifier: Apache-2.0
/// The operations of the camera maker's capture library `KVCap2`, as this program calls them.
///
/// The library is a shared library with C linkage (`libKVCap2.so`, `KVCap2.dll`). The program links to it in
/// the ordinary way, so any library of that name with these operations can take its place: the maker's, the
/// simulator of `simulator/`, or a recording one in the tests.
///
/// Conventions, for every operation:
/// - the result is a status, 0 = success; out-values are only meaningful then;
/// - a camera is named by its index, 0 ... count - 1, in the library's order of detection;
/// - `bool` is the C++ one (one byte);
/// - units of exposure, delay and time-out are the library's own; the program passes the numbers through;
/// - parameter calls may come from the GUI thread while a capture thread is inside `CameraQueryImage` for
///   the same index: the library has to stand that, callers hold no lock.
#pragma once

#include <cstdint>

/// Frame format codes of `CameraGetImageBufferSize` and `CameraQueryImage`.
constexpr int32_t kFormatMono8 = 2;  ///< one byte a pixel, rows packed
constexpr int32_t kFormatRgb24 = 4;  ///< three bytes a pixel in the order red, green, blue, rows packed

/// Longest serial number, bytes. `CameraReadSerialNumber` does not have to write a terminating zero.
constexpr int32_t kSerialNumberLength = 12;

/// Values of `CameraSetSnapMode`.
constexpr int32_t kSnapContinuous = 1;
constexpr int32_t kSnapTriggered = 2;

extern "C" {

/// Number of attached cameras.
int32_t CameraGetCount(int32_t* count);

/// Opens a camera; comes before any other call on that index.
int32_t CameraInit(int32_t index);
/// Closes a camera; nothing is called on that index afterwards and no query is under way.
int32_t CameraFree(int32_t index);
/// Writes at most `length` bytes of text to `buffer`.
int32_t CameraReadSerialNumber(int32_t index, char* buffer, int32_t length);

/// Size in px of the frames that the camera sends now.
int32_t CameraGetImageSize(int32_t index, int32_t* width, int32_t* height);
/// Bytes that a frame of the given format code takes now.
int32_t CameraGetImageBufferSize(int32_t index, int32_t* length, int32_t format);
/// Blocks until the next frame is in `buffer` (0) or the time-out is over (not 0). `length` holds the size of
/// the buffer in bytes on entry and the bytes written on return.
int32_t CameraQueryImage(int32_t index, uint8_t* buffer, int32_t* length, int32_t format);
/// In snap mode 2: releases one frame.
int32_t CameraTriggerShot(int32_t index);

int32_t CameraGetGamma(int32_t index, double* value);
int32_t CameraSetGamma(int32_t index, double value);
int32_t CameraGetContrast(int32_t index, double* value);
int32_t CameraSetContrast(int32_t index, double value);
int32_t CameraGetSaturation(int32_t index, double* value);
int32_t CameraSetSaturation(int32_t index, double value);
int32_t CameraGetBlackLevel(int32_t index, int32_t* value);
int32_t CameraSetBlackLevel(int32_t index, int32_t value);
int32_t CameraGetAdvancedGain(int32_t index, int32_t* value);
int32_t CameraSetAdvancedGain(int32_t index, int32_t value);
int32_t CameraGetGain(int32_t index, int32_t* value);
int32_t CameraSetGain(int32_t index, int32_t value);
/// Automatic gain.
int32_t CameraGetAGC(int32_t index, bool* on);
int32_t CameraSetAGC(int32_t index, bool on);
/// Automatic exposure.
int32_t CameraGetAEC(int32_t index, bool* on);
int32_t CameraSetAEC(int32_t index, bool on);
int32_t CameraGetExposure(int32_t index, int32_t* value);
int32_t CameraSetExposure(int32_t index, int32_t value);
/// Mean brightness that the automatic exposure and gain steer towards.
int32_t CameraGetAETarget(int32_t index, int32_t* value);
int32_t CameraSetAETarget(int32_t index, int32_t value);
int32_t CameraGetTimeout(int32_t index, int32_t* value);
int32_t CameraSetTimeout(int32_t index, int32_t value);
/// 0 = off, otherwise the number of a mains frequency mode (1 = 50 Hz, 2 = 60 Hz).
int32_t CameraGetAntiFlicker(int32_t index, int32_t* mode);
int32_t CameraSetAntiFlicker(int32_t index, int32_t mode);
int32_t CameraGetMirrorX(int32_t index, bool* on);
int32_t CameraSetMirrorX(int32_t index, bool on);
int32_t CameraGetMirrorY(int32_t index, bool* on);
int32_t CameraSetMirrorY(int32_t index, bool on);
int32_t CameraGetHighspeed(int32_t index, bool* on);
int32_t CameraSetHighspeed(int32_t index, bool on);
/// Pause between frames.
int32_t CameraGetDelay(int32_t index, int32_t* value);
int32_t CameraSetDelay(int32_t index, int32_t value);
int32_t CameraGetSnapMode(int32_t index, int32_t* mode);
int32_t CameraSetSnapMode(int32_t index, int32_t mode);

/// Number of resolution modes, and the frame size in px of one of them.
int32_t CameraGetResolutionCount(int32_t index, int32_t* count);
int32_t CameraGetResolution(int32_t index, int32_t mode, int32_t* width, int32_t* height);
/// Switches to a mode, with the size that `CameraGetResolution` gives for it.
int32_t CameraSetResolution(int32_t index, int32_t mode, int32_t width, int32_t height);

/// Loads or stores all parameters of the camera from or in one of its own memory slots.
int32_t CameraLoadParameter(int32_t index, int32_t slot);
int32_t CameraSaveParameter(int32_t index, int32_t slot);

}  // extern "C"
