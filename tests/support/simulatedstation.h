// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QPointF>
#include <QTemporaryDir>
#include <QtTest>

#include "camera/kvcap2.h"

/// The cameras of the simulator in this process, two side by side, and where they see what they see.
class SimulatedStation {
protected:
    /// Once, before anything else asks the library. `camera`: the lines of the section [Camera].
    void attachCameras(const QByteArray& camera) {
        const QString truth = files.filePath(QStringLiteral("truth.json"));
        QFile configuration(files.filePath(QStringLiteral("kvcap2.ini")));
        QVERIFY(configuration.open(QIODevice::WriteOnly));
        configuration.write("[Library]\nCount=2\nGroundTruth=" + QFile::encodeName(truth) + "\n[Camera]\n" +
                            camera);
        configuration.close();
        qputenv("KVCAP2_CONFIG", QFile::encodeName(configuration.fileName()));
        int32_t count = 0;
        QCOMPARE(CameraGetCount(&count), 0);
        QCOMPARE(count, 2);
        QFile file(truth);
        QVERIFY(file.open(QIODevice::ReadOnly));
        groundTruth = QJsonDocument::fromJson(file.readAll()).object();
        QCOMPARE(groundTruth["cameras"].toArray().size(), 2);
    }

    /// A corner of a camera's reference rectangle, frame px.
    QPointF corner(int camera, int index) const {
        const QJsonArray point = groundTruth["cameras"]
                                     .toArray()
                                     .at(camera)["modes"]
                                     .toArray()
                                     .at(0)["corners"]
                                     .toArray()
                                     .at(index)
                                     .toArray();
        return {point[0].toDouble(), point[1].toDouble()};
    }

    QTemporaryDir files;
    QJsonObject groundTruth;
};
