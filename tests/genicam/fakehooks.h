// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <arv.h>

#include <QByteArray>

#include <cstdint>

namespace fake {

/// The address that Aravis finds a network interface with, whatever the system's interfaces are. Before the
/// first camera.
void setInterface(const QByteArray& address);

/// Aravis's own access to a fake camera's memory, past our functions of the same names.
bool readRegisters(ArvFakeCamera* camera, uint32_t address, uint32_t size, void* data);
bool writeRegisters(ArvFakeCamera* camera, uint32_t address, uint32_t size, const void* data);

}  // namespace fake
