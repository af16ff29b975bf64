// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include "configuration.h"

typedef struct _ArvDevice ArvDevice;

namespace kvgen {

class CameraFeatures;

/// Logs what the configuration asks of a camera that it cannot serve, or that does nothing there: one line
/// for each. Asks the camera for what is configured only. On the thread that has the camera.
void reportUnserved(const QString& label, const CameraConfiguration& configuration, CameraFeatures& features,
                    ArvDevice* device);

}  // namespace kvgen
