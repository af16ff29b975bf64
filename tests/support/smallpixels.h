// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QProcess>
#include <QtTest>

/// A row for each number of device pixels that a px of the desktop may have.
inline void addPixelRatios() {
    QTest::addColumn<QString>("ratio");
    for (const char* ratio : {"1.25", "1.5", "1.75", "2"})
        QTest::newRow(ratio) << QString::fromLatin1(ratio);
}

/// Runs this whole program once more with that ratio; in there it does nothing.
inline void runWithPixelRatio() {
    QFETCH(QString, ratio);
    if (qEnvironmentVariableIsSet("QT_SCALE_FACTOR"))
        return;
    QProcess again;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("QT_SCALE_FACTOR"), ratio);
    environment.insert(QStringLiteral("QT_SCALE_FACTOR_ROUNDING_POLICY"), QStringLiteral("PassThrough"));
    again.setProcessEnvironment(environment);
    again.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    again.start(QCoreApplication::applicationFilePath(), QStringList());
    QVERIFY(again.waitForFinished(120000));
    const QByteArray said = again.readAllStandardOutput();
    QVERIFY2(again.exitStatus() == QProcess::NormalExit && again.exitCode() == 0, said.constData());
}
