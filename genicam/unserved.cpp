// SPDX-License-Identifier: Apache-2.0
#include "unserved.h"

#include <QDebug>

#include <array>

#include "camerafeatures.h"
#include "featurenode.h"

namespace kvgen {

namespace {

constexpr char kOwnTrigger[] = "Software";

/// What the library is asked for and the camera has itself.
QByteArray needlessIn(const InLibrary& asked, CameraFeatures& features) {
    struct Entry {
        bool isAsked;
        Parameter parameter;
    };
    const std::array<Entry, 6> entries{{{asked.gamma, Parameter::Gamma},
                                        {asked.contrast, Parameter::Contrast},
                                        {asked.saturation, Parameter::Saturation},
                                        {asked.blackLevel, Parameter::BlackLevel},
                                        {asked.mirrors, Parameter::MirrorX},
                                        {asked.mirrors, Parameter::MirrorY}}};
    QByteArrayList names;
    for (const Entry& entry : entries) {
        if (entry.isAsked && features.has(entry.parameter))
            names.append(mappingOf(entry.parameter).name);
    }
    return names.join(", ");
}

}  // namespace

void reportUnserved(const QString& label, const CameraConfiguration& configuration, CameraFeatures& features,
                    ArvDevice* device) {
    if (configuration.triggerSource != kOwnTrigger &&
        !FeatureNode(device, "TriggerSource").hasEntry(configuration.triggerSource))
        qWarning("%s: has no trigger source %s; snap mode 2 fails until TriggerSource names one that it has",
                 qPrintable(label), configuration.triggerSource.constData());
    if (configuration.frameRate) {
        const double rate = features.baseRate();
        if (features.featureOf(Parameter::Delay).isEmpty())
            qWarning("%s: its rate cannot be set, so FrameRate does nothing", qPrintable(label));
        else if (rate > 0 && rate < *configuration.frameRate)
            qWarning("%s: FrameRate is %.2f, the camera reaches %.2f", qPrintable(label),
                     *configuration.frameRate, rate);
    }
    const QByteArray needless = needlessIn(configuration.inLibrary, features);
    if (!needless.isEmpty())
        qWarning("%s: does %s itself, so InLibrary does nothing about it", qPrintable(label),
                 needless.constData());
}

}  // namespace kvgen
