// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include <algorithm>

#include "network.h"

using namespace kvgen;

/// What the cameras' packets find on their way.
class TestCameraNetwork : public QObject {
    Q_OBJECT

private slots:
    void readsAddresses_data();
    void readsAddresses();
    void knowsLoopback();
    void knowsOnlyItsOwnAddresses();
    void reachesItsSubnets();
    void listsWhatIsUp();
    void clampsPackets_data();
    void clampsPackets();
    void sharesALink_data();
    void sharesALink();
    void leavesRoomForTheOthers();
    void socketBuffersHaveALimit();
};

void TestCameraNetwork::readsAddresses_data() {
    QTest::addColumn<QByteArray>("text");
    QTest::addColumn<bool>("isAddress");
    QTest::addColumn<quint32>("number");
    QTest::newRow("usual") << QByteArray("192.168.1.20") << true << 0xC0A80114U;
    QTest::newRow("least") << QByteArray("0.0.0.0") << true << 0U;
    QTest::newRow("greatest") << QByteArray("255.255.255.255") << true << 0xFFFFFFFFU;
    for (const char* text : {"", "1.2.3", "1.2.3.4.5", "256.1.1.1", "1.2.3.-4", "1.2.3.4 ", "1..3.4",
                             "0x1.2.3.4", "1.2.3.0004", "+1.2.3.4", "camera"}) {
        QTest::newRow(text) << QByteArray(text) << false << 0U;
    }
}

void TestCameraNetwork::readsAddresses() {
    QFETCH(QByteArray, text);
    QFETCH(bool, isAddress);
    QFETCH(quint32, number);
    const auto address = ipv4Of(text);
    QCOMPARE(address.has_value(), isAddress);
    if (address)
        QCOMPARE(*address, number);
}

void TestCameraNetwork::knowsLoopback() {
    const auto found = interfaceOf("127.0.0.1");
    QVERIFY(found);
    QVERIFY(found->isLoopback);
    QVERIFY(!found->name.isEmpty());
    QVERIFY(found->mtu >= 1500);
    QCOMPARE(found->linkSpeed, int64_t(0));
    // Fake cameras have addresses of the same subnet that no list shows.
    const auto other = interfaceOf("127.0.0.3");
    QVERIFY(other);
    QCOMPARE(other->name, found->name);
}

void TestCameraNetwork::knowsOnlyItsOwnAddresses() {
    // Of the blocks that are for documents.
    for (const char* address : {"192.0.2.1", "203.0.113.7", "", "camera", "127.0.0"})
        QVERIFY2(!interfaceOf(address), address);
}

void TestCameraNetwork::reachesItsSubnets() {
    QVERIFY(isReachable("127.0.0.4"));
    QVERIFY(isReachable("127.200.1.2"));
    QVERIFY(!isReachable("203.0.113.7"));
    QVERIFY(!isReachable(""));
    QVERIFY(!isReachable("127.0.0.4.1"));
}

void TestCameraNetwork::listsWhatIsUp() {
    const QVector<LocalAddress> all = localAddresses();
    QVERIFY(!all.isEmpty());
    QCOMPARE(
        std::count_if(all.begin(), all.end(), [](const LocalAddress& a) { return a.address == 0x7F000001; }),
        1);
    for (const LocalAddress& local : all) {
        QVERIFY(!local.network.name.isEmpty());
        QVERIFY(local.network.mtu > 0);
        QVERIFY(local.network.linkSpeed >= 0);
        // Ones, then zeros.
        QCOMPARE(~local.mask & (~local.mask + 1), 0U);
        QCOMPARE(local.network.isLoopback, local.address >> 24 == 127);
    }
}

void TestCameraNetwork::clampsPackets_data() {
    QTest::addColumn<int>("wanted");
    QTest::addColumn<int>("mtu");
    QTest::addColumn<int>("size");
    QTest::newRow("as wanted") << 1400 << 1500 << 1400;
    QTest::newRow("jumbo") << 8000 << 9000 << 8000;
    QTest::newRow("negotiated too large") << 9000 << 1500 << 1500;
    QTest::newRow("multiple of four") << 1499 << 1500 << 1496;
    QTest::newRow("odd MTU") << 9000 << 1495 << 1492;
    QTest::newRow("loopback") << 65536 << 65536 << 16000;
    QTest::newRow("too small") << 100 << 1500 << 576;
    QTest::newRow("least") << 576 << 1500 << 576;
    QTest::newRow("none") << 0 << 1500 << 576;
    QTest::newRow("negative") << -5 << 1500 << 576;
    QTest::newRow("senseless MTU") << 1500 << 0 << 576;
    QTest::newRow("nonsense") << INT_MAX << INT_MAX << 16000;
}

void TestCameraNetwork::clampsPackets() {
    QFETCH(int, wanted);
    QFETCH(int, mtu);
    QTEST(clampedPacketSize(wanted, mtu), "size");
}

void TestCameraNetwork::sharesALink_data() {
    QTest::addColumn<int>("cameras");
    QTest::addColumn<int>("packetSize");
    QTest::addColumn<qint64>("speed");
    QTest::addColumn<qint64>("delay");
    const qint64 gigabit = 1'000'000'000;
    QTest::newRow("alone") << 1 << 1500 << gigabit << qint64(0);
    QTest::newRow("none") << 0 << 1500 << gigabit << qint64(0);
    // 1500 + 38 bytes take 12304 ns.
    QTest::newRow("two") << 2 << 1500 << gigabit << qint64(12304);
    QTest::newRow("four") << 4 << 1500 << gigabit << qint64(3 * 12304);
    QTest::newRow("four, jumbo") << 4 << 8000 << gigabit << qint64(3 * 64304);
    QTest::newRow("speed not known") << 4 << 1500 << qint64(0) << qint64(3 * 12304);
    QTest::newRow("speed senseless") << 4 << 1500 << qint64(-1) << qint64(3 * 12304);
    QTest::newRow("ten gigabits, rounded up") << 2 << 1500 << 10 * gigabit << qint64(1231);
    QTest::newRow("slow") << 4 << 1500 << gigabit / 10 << qint64(3 * 123040);
}

void TestCameraNetwork::sharesALink() {
    QFETCH(int, cameras);
    QFETCH(int, packetSize);
    QFETCH(qint64, speed);
    QFETCH(qint64, delay);
    QCOMPARE(qint64(packetDelayFor(cameras, packetSize, speed)), delay);
}

void TestCameraNetwork::leavesRoomForTheOthers() {
    for (int cameras = 2; cameras <= 8; ++cameras) {
        for (const int size : {576, 1500, 8000, 16000}) {
            const double onTheWire = (size + 38) * 8;
            const double one =
                onTheWire / (onTheWire + static_cast<double>(packetDelayFor(cameras, size, 1'000'000'000)));
            QVERIFY(one * cameras <= 1.0);
            QVERIFY(one * cameras > 0.99);
        }
    }
}

void TestCameraNetwork::socketBuffersHaveALimit() {
    const auto largest = largestSocketBuffer();
    // Who says nothing has none.
    if (largest)
        QVERIFY(*largest >= 4096);
#ifdef Q_OS_LINUX
    QVERIFY(largest);
#endif
}

QTEST_GUILESS_MAIN(TestCameraNetwork)
#include "tst_cameranetwork.moc"
