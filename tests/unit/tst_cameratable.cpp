// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "camera/cameratable.h"
#include "live/framerate.h"

/// Counting cameras, mapping them to tiles by serial number, and the rate arithmetic.
class TestCameraTable : public QObject {
    Q_OBJECT

private slots:
    void tilesInUse_data();
    void tilesInUse();
    void serialNumbersFindTheirTiles();
    void sameSerialNumberTwice();
    void firstOfEqualCamerasWins();
    void unmatchedTileIsNamed();
    void comparisonIsExact_data();
    void comparisonIsExact();
    void changedCamerasAreBound();
    void cameraWithoutSerialNumberIsBoundToo();
    void nothingIsBoundWithoutSerialNumbers();
    void anyBytesSurviveTheFile_data();
    void anyBytesSurviveTheFile();
    void ageLimit();
    void firstRateIsTheFirstCount();
    void steadyRateSettles();
    void rateTextForTiles();
    void rateTextWithoutTiles();
};

void TestCameraTable::tilesInUse_data() {
    QTest::addColumn<int>("attached");
    QTest::addColumn<int>("camNum");
    QTest::addColumn<int>("demo");
    QTest::addColumn<int>("expected");
    QTest::newRow("one of one") << 1 << 1 << 0 << 1;
    QTest::newRow("two of four") << 4 << 2 << 0 << 2;
    QTest::newRow("six attached") << 6 << 4 << 0 << 4;
    QTest::newRow("six attached, six wanted") << 6 << 6 << 0 << 4;
    QTest::newRow("none") << 0 << 4 << 0 << 0;
    QTest::newRow("demo without camera") << 0 << 4 << 3 << 3;
    QTest::newRow("demo with one camera") << 1 << 4 << 2 << 1;
    QTest::newRow("demo 9 is 4") << 0 << 4 << 9 << 4;
    QTest::newRow("demo of a huge number") << 0 << 4 << 2147483647 << 4;
    QTest::newRow("negative demo") << 0 << 4 << -3 << 0;
    QTest::newRow("negative CamNum") << 4 << -1 << 0 << 0;
    QTest::newRow("CamNum 99") << 3 << 99 << 0 << 3;
    QTest::newRow("library says less than nothing") << -7 << 4 << 0 << 0;
}

void TestCameraTable::tilesInUse() {
    QFETCH(int, attached);
    QFETCH(int, camNum);
    QFETCH(int, demo);
    QTEST(::tilesInUse(attached, camNum, demo), "expected");
}

void TestCameraTable::serialNumbersFindTheirTiles() {
    const auto table = matchCameras({"C", "A", "B", "D"}, {"A", "B", "C"});
    QCOMPARE(table.unmatchedTile, -1);
    QCOMPARE(table.cameraOfTile, (QVector<int>{2, 0, 1}));
}

void TestCameraTable::sameSerialNumberTwice() {
    const auto table = matchCameras({"B", "B", "", ""}, {"A", "B"});
    QCOMPARE(table.unmatchedTile, -1);
    QCOMPARE(table.cameraOfTile, (QVector<int>{1, 1}));
}

void TestCameraTable::firstOfEqualCamerasWins() {
    QCOMPARE(matchCameras({"X", "X", "", ""}, {"X", "X"}).cameraOfTile, (QVector<int>{0, 0}));
}

void TestCameraTable::unmatchedTileIsNamed() {
    const auto table = matchCameras({"A", "Z", "Y", ""}, {"A", "B", "C"});
    QCOMPARE(table.unmatchedTile, 1);
    QCOMPARE(table.cameraOfTile, (QVector<int>{0}));
}

void TestCameraTable::comparisonIsExact_data() {
    QTest::addColumn<QString>("configured");
    QTest::addColumn<QByteArray>("serial");
    QTest::addColumn<bool>("same");
    QTest::newRow("equal") << "KV01" << QByteArray("KV01") << true;
    QTest::newRow("case") << "kv01" << QByteArray("KV01") << false;
    QTest::newRow("prefix") << "KV0" << QByteArray("KV01") << false;
    QTest::newRow("trailing space") << "KV01 " << QByteArray("KV01") << false;
    QTest::newRow("both empty") << "" << QByteArray("") << true;
    QTest::newRow("UTF-8") << QString::fromUtf8("相机") << QByteArray("相机") << true;
    QTest::newRow("raw byte") << QString::fromLatin1("\xff") << QByteArray("\xff") << true;
    QTest::newRow("raw byte, other") << QString::fromLatin1("\xfe") << QByteArray("\xff") << false;
}

void TestCameraTable::comparisonIsExact() {
    QFETCH(QString, configured);
    QFETCH(QByteArray, serial);
    QTEST(isSerial(configured, serial), "same");
}

void TestCameraTable::anyBytesSurviveTheFile_data() {
    QTest::addColumn<QByteArray>("serial");
    QTest::newRow("ascii") << QByteArray("KV2500000001");
    QTest::newRow("chinese") << QByteArray("相机一号");
    QTest::newRow("no UTF-8") << QByteArray("\xff\xfe\x80\x81\xc3(");
    QTest::newRow("controls") << QByteArray("\x01\x7f\t\n\x9f");
    QTest::newRow("byte order mark") << QByteArray(
        "\xef\xbb\xbf"
        "AB");
    QTest::newRow("torn UTF-8") << QByteArray("abc\xe7\x9b");
}

void TestCameraTable::anyBytesSurviveTheFile() {
    QFETCH(QByteArray, serial);
    QVERIFY(isSerial(serialText(serial), serial));
    QVERIFY(!isSerial(serialText(serial), serial + 'x'));
}

void TestCameraTable::ageLimit() {
    const quint64 now = 1800000000000;
    QVERIFY(!isStale(now, now));
    QVERIFY(!isStale(now, now - 300));
    QVERIFY(isStale(now, now - 301));
    QVERIFY(isStale(now, 0));
    QVERIFY(isStale(now, now + 1));
}

void TestCameraTable::firstRateIsTheFirstCount() {
    QCOMPARE(smoothedRate(0.0F, 17), 17.0F);
}

void TestCameraTable::steadyRateSettles() {
    float rate = smoothedRate(0.0F, 25);
    QCOMPARE(smoothedRate(rate, 10), 19.0F);  // 10 x 0.4 + 25 x 0.6
    for (int second = 0; second < 30; ++second)
        rate = smoothedRate(rate, 10);
    QCOMPARE(QString::number(double(rate), 'f', 2), QStringLiteral("10.00"));
}

void TestCameraTable::rateTextForTiles() {
    QCOMPARE(rateText({15.0F, 14.983F, 0.0F}), QStringLiteral("Camera fps: ( 15.00 14.98 0.00 )"));
}

void TestCameraTable::rateTextWithoutTiles() {
    QCOMPARE(rateText({}), QStringLiteral("Camera fps: ( no device)"));
}

void TestCameraTable::changedCamerasAreBound() {
    const QVector<QByteArray> serials{"A", "B", "C"};
    // Tiles 0 and 1 have changed places; tile 2 has not.
    auto bindings = changedBindings({1, 0, 2}, {0, 1, 2}, serials, {"A", "B", "C", ""});
    QCOMPARE(bindings.size(), 2);
    QCOMPARE(bindings[0].tile, 0);
    QCOMPARE(bindings[0].serial, QStringLiteral("B"));
    QVERIFY(bindings[0].needsRestart);
    QCOMPARE(bindings[1].tile, 1);
    QCOMPARE(bindings[1].serial, QStringLiteral("A"));
    // And back within the same run: the file is put right, nobody has to start anew.
    bindings = changedBindings({0, 1, 2}, {0, 1, 2}, serials, {"B", "A", "C", ""});
    QCOMPARE(bindings.size(), 2);
    QCOMPARE(bindings[0].serial, QStringLiteral("A"));
    QVERIFY(!bindings[0].needsRestart);
    QVERIFY(!bindings[1].needsRestart);
    // Cameras that were detected in another order than their tiles have.
    bindings = changedBindings({1, 0}, {1, 0}, serials, {"B", "A", "", ""});
    QCOMPARE(bindings[0].serial, QStringLiteral("A"));
    QCOMPARE(bindings[1].serial, QStringLiteral("B"));
    QVERIFY(changedBindings({}, {0, 1}, serials, {"A", "B", "", ""}).isEmpty());
}

/// Left out, its tile would show the other camera a second time at the next start.
void TestCameraTable::cameraWithoutSerialNumberIsBoundToo() {
    const QVector<QByteArray> serials{"A", ""};
    const auto bindings = changedBindings({1, 0}, {0, 1}, serials, {"A", "", "", ""});
    QCOMPARE(bindings.size(), 2);
    QCOMPARE(bindings[0].serial, QString());
    QCOMPARE(bindings[1].serial, QStringLiteral("A"));
    const auto table = matchCameras({bindings[0].serial, bindings[1].serial}, serials);
    QCOMPARE(table.cameraOfTile, (QVector<int>{1, 0}));
}

void TestCameraTable::nothingIsBoundWithoutSerialNumbers() {
    QVERIFY(changedBindings({1, 0}, {0, 1}, {"", ""}, {"A", "B", "", ""}).isEmpty());
    QVERIFY(changedBindings({1, 0}, {0, 1}, {}, {"A", "B", "", ""}).isEmpty());
}

QTEST_GUILESS_MAIN(TestCameraTable)
#include "tst_cameratable.moc"
