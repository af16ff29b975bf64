// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include "camera/kvcap2.h"

/// The ready working folder of ./run: its corners are those of its cameras.
class TestWorkspace : public QObject {
    Q_OBJECT

private slots:
    void marksAreTheCorners();
};

void TestWorkspace::marksAreTheCorners() {
    const QTemporaryDir folder;
    qputenv("KVCAP2_CONFIG", WORKSPACE "/kvcap2.ini");
    qputenv("KVCAP2_GROUND_TRUTH", QFile::encodeName(folder.filePath(QStringLiteral("truth.json"))));
    int32_t count = 0;
    QCOMPARE(CameraGetCount(&count), 0);
    QCOMPARE(count, 4);
    QFile truth(folder.filePath(QStringLiteral("truth.json")));
    QVERIFY(truth.open(QIODevice::ReadOnly));
    const QJsonArray cameras = QJsonDocument::fromJson(truth.readAll()).object()["cameras"].toArray();
    QFile marks(QStringLiteral(WORKSPACE "/mark0.txt"));
    QVERIFY(marks.open(QIODevice::ReadOnly));
    const auto lines = QString::fromLatin1(marks.readAll()).trimmed().split(QStringLiteral("\r\n"));
    QCOMPARE(lines.size(), 16);
    for (int i = 0; i < 16; ++i) {
        const QJsonObject mode = cameras.at(i / 4)["modes"].toArray().at(0).toObject();
        const QJsonArray corner = mode["corners"].toArray().at(i % 4).toArray();
        const double x = corner.at(0).toDouble() + i / 4 % 2 * mode["width"].toInt();
        const double y = corner.at(1).toDouble() + i / 4 / 2 * mode["height"].toInt();
        const QStringList fields = lines[i].split(QLatin1Char(' '));
        QCOMPARE(fields[0], QStringLiteral("Coordinates"));
        QVERIFY(qAbs(fields[5].toDouble() - x) < 0.01);
        QVERIFY(qAbs(fields[6].toDouble() - y) < 0.01);
    }
    // And the counts that the dialog proposes.
    QFile settings(QStringLiteral(WORKSPACE "/setting.ini"));
    QVERIFY(settings.open(QIODevice::ReadOnly));
    const QByteArray ini = settings.readAll();
    QStringList xs;
    QStringList ys;
    for (const QJsonValue camera : cameras) {
        xs.append(QString::number(camera["xCount"].toInt()));
        ys.append(QString::number(camera["yCount"].toInt()));
    }
    QVERIFY(ini.contains("XCount=\"" + xs.join(QLatin1Char(',')).toLatin1() + '"'));
    QVERIFY(ini.contains("YCount=\"" + ys.join(QLatin1Char(',')).toLatin1() + '"'));
}

QTEST_GUILESS_MAIN(TestWorkspace)
#include "tst_workspace.moc"
