// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QJsonObject>
#include <QString>

#include "configuration.h"
#include "scene.h"

namespace kvsim {

/// What is known for certain about the simulated scene and cameras; the format is documented in
/// docs/simulator.md.
QJsonObject groundTruth(const Configuration& configuration, const Scene& scene);

/// Writes it, replacing an old file as a whole. A failure is reported by qWarning.
void writeGroundTruth(const QString& file, const Configuration& configuration, const Scene& scene);

}  // namespace kvsim
