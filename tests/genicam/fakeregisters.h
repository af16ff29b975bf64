// SPDX-License-Identifier: Apache-2.0
/// Where a fake camera keeps what its features say. Those below 0x1000 are fixed by Aravis's fake camera and
/// by GigE Vision; the others are in the range that is the maker's.
#pragma once

#include <cstdint>

namespace fake::reg {

// Aravis's fake camera acts on these.
constexpr uint32_t kWidth = 0x100;
constexpr uint32_t kHeight = 0x104;
constexpr uint32_t kBinningX = 0x108;
constexpr uint32_t kBinningY = 0x10C;
constexpr uint32_t kSensorHeight = 0x118;
constexpr uint32_t kSensorWidth = 0x11C;
constexpr uint32_t kAcquisition = 0x124;
constexpr uint32_t kPixelFormat = 0x128;
constexpr uint32_t kAcquisitionMode = 0x12C;
constexpr uint32_t kOffsetX = 0x130;
constexpr uint32_t kOffsetY = 0x134;
constexpr uint32_t kFramePeriod = 0x138;  // µs
constexpr uint32_t kTriggerMode = 0x300;
constexpr uint32_t kTriggerSource = 0x304;
constexpr uint32_t kTriggerActivation = 0x308;
constexpr uint32_t kTriggerSoftware = 0x30C;

// GigE Vision's.
constexpr uint32_t kVendorName = 0x48;
constexpr uint32_t kModelName = 0x68;
constexpr uint32_t kSerialNumber = 0xD8;
constexpr uint32_t kCapability = 0x934;  // of which
constexpr uint32_t kTellsMaster = 1U << 27;
constexpr uint32_t kHeartbeat = 0x938;
constexpr uint32_t kPrivilege = 0xA00;
constexpr uint32_t kHeldBits = 3;
constexpr uint32_t kMasterPort = 0xA10;
constexpr uint32_t kMasterAddress = 0xA14;
constexpr uint32_t kStreamPort = 0xD00;
constexpr uint32_t kPacketSize = 0xD04;
constexpr uint32_t kFireTestPacket = 1U << 31;  // of it
constexpr uint32_t kPacketDelay = 0xD08;
constexpr uint32_t kStreamAddress = 0xD18;

// Ours; a user set holds all from kUserBegin to kUserEnd. Real numbers have 8 bytes.
constexpr uint32_t kUserBegin = 0xA000;
constexpr uint32_t kExposure = 0xA000;  // µs, real
constexpr uint32_t kGain = 0xA008;      // dB, real
constexpr uint32_t kBlackLevel = 0xA010;
constexpr uint32_t kGamma = 0xA018;
constexpr uint32_t kRate = 0xA020;        // frames a second, real
constexpr uint32_t kBrightness = 0xA028;  // 0 ... 1, real
constexpr uint32_t kSaturation = 0xA030;
constexpr uint32_t kExposureRaw = 0xA040;    // µs
constexpr uint32_t kGainRaw = 0xA044;        // tenths of a dB
constexpr uint32_t kBlackLevelRaw = 0xA048;  // grey levels
constexpr uint32_t kGammaEnable = 0xA04C;
constexpr uint32_t kRateEnable = 0xA050;
constexpr uint32_t kReverseX = 0xA054;
constexpr uint32_t kReverseY = 0xA058;
constexpr uint32_t kExposureAuto = 0xA05C;
constexpr uint32_t kGainAuto = 0xA060;
constexpr uint32_t kDigitalShift = 0xA064;
constexpr uint32_t kTargetGrey = 0xA068;     // 0 ... 255
constexpr uint32_t kTargetPercent = 0xA06C;  // 0 ... 100
constexpr uint32_t kUserEnd = 0xA080;

constexpr uint32_t kUserSetSelector = 0xA100;
constexpr uint32_t kUserSetLoad = 0xA104;
constexpr uint32_t kUserSetSave = 0xA108;
constexpr uint32_t kTriggerSelector = 0xA10C;
constexpr uint32_t kGainSelector = 0xA110;
constexpr uint32_t kBlackLevelSelector = 0xA114;
constexpr uint32_t kTransportLocked = 0xA118;
constexpr uint32_t kFrames = 0xA11C;  // since the process began
constexpr uint32_t kExposureMode = 0xA124;
constexpr uint32_t kSaidWidth = 0xA128;  // where frames have another one
constexpr uint32_t kNothing = 0xA120;    // always 0

// An enumeration's numbers.
constexpr uint32_t kOff = 0;
constexpr uint32_t kOnce = 1;
constexpr uint32_t kContinuous = 2;
constexpr uint32_t kTimed = 1;
constexpr uint32_t kTriggerWidth = 2;
constexpr uint32_t kFrameStart = 0;
constexpr uint32_t kAcquisitionStart = 1;
constexpr uint32_t kSourceSoftware = 1;
constexpr uint32_t kSourceLine0 = 0;
constexpr uint32_t kSourceLine1 = 2;

}  // namespace fake::reg
