// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtTest>

#include "camerafeatures.h"
#include "playedcamera.h"

namespace kvgen {

/// A camera with features of today's standard names.
inline Description standardNames() {
    Description d;
    d.boolean("GammaEnable").real("Gamma", {"0", "4"});
    d.real("Saturation", {"0", "2"});
    d.enumeration("BlackLevelSelector", {"Red", "All"})
        .selected("BlackLevel", "BlackLevelSelector", {"0", "64"});
    d.enumeration("GainSelector", {"DigitalAll", "AnalogAll"});
    d.selected("Gain", "GainSelector", {"-24", "24", "dB"});
    d.enumeration("GainAuto", {"Off", "Once", "Continuous"});
    d.enumeration("ExposureAuto", {"Off", "Once", "Continuous"});
    d.real("ExposureTime", {"20", "2000000", "us"});
    d.real("AutoTargetBrightness", {"0.2", "0.8"});
    d.boolean("ReverseX").boolean("ReverseY");
    d.boolean("AcquisitionFrameRateEnable").real("AcquisitionFrameRate", {"1", "50"});
    d.enumeration("TriggerSelector", {"AcquisitionStart", "FrameStart"});
    d.enumeration("TriggerMode", {"Off", "On"}).enumeration("TriggerSource", {"Line1", "Software"});
    d.command("TriggerSoftware");
    d.enumeration("UserSetSelector", {"Default", "UserSet1", "UserSet2"});
    d.command("UserSetLoad").command("UserSetSave");
    return d;
}

/// One with the names of before that.
inline Description olderNames() {
    Description d;
    d.integer("BlackLevelRaw", {"0", "100"});
    d.integer("GainRaw", {"0", "511", "", "1"});
    d.real("ExposureTimeAbs", {"10", "100000"});
    d.integer("AutoTargetValue", {"50", "205"});
    d.boolean("AcquisitionFrameRateEnable").real("AcquisitionFrameRateAbs", {"1", "30"});
    d.enumeration("TriggerMode", {"Off", "On"}).enumeration("TriggerSource", {"Software"});
    d.command("TriggerSoftware");
    return d;
}

/// What a parameter is; a failure where it cannot be read.
inline double valueOf(CameraFeatures& features, Parameter parameter) {
    double value = -12345;
    if (features.read(parameter, value) != Status::Ok)
        QTest::qFail(qPrintable(QString::fromLatin1(features.reason())), __FILE__, __LINE__);
    return value;
}

}  // namespace kvgen
