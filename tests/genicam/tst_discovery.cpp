// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include "discovery.h"

using kvgen::distinctSerials;
using kvgen::Found;
using Serials = QVector<QByteArray>;

class DiscoveryTest : public QObject {
    Q_OBJECT

private slots:
    void serialsAreDistinct_data();
    void serialsAreDistinct();
    void sortsBySerialThenAddress();
    void nobodyAnswersAtOnce();
};

void DiscoveryTest::serialsAreDistinct_data() {
    QTest::addColumn<Serials>("serials");
    QTest::addColumn<Serials>("told");
    QTest::newRow("as they are") << Serials{"A1", "B2"} << Serials{"A1", "B2"};
    QTest::newRow("the last 12 bytes") << Serials{"0123456789ABCDEF"} << Serials{"456789ABCDEF"};
    QTest::newRow("twice") << Serials{"SERIAL0001", "SERIAL0001"} << Serials{"SERIAL0001", "SERIAL00~2"};
    QTest::newRow("thrice") << Serials{"SN77", "SN77", "SN77"} << Serials{"SN77", "SN~2", "SN~3"};
    QTest::newRow("alike at the end")
        << Serials{"X0123456789AB", "Y0123456789AB"} << Serials{"0123456789AB", "0123456789~2"};
    QTest::newRow("one is called so already")
        << Serials{"SN~2", "SN77", "SN77"} << Serials{"SN~2", "SN77", "SN~3"};
    QTest::newRow("unknown ones") << Serials{"", "SN1", ""} << Serials{"", "SN1", ""};
    QTest::newRow("one byte") << Serials{"7", "7"} << Serials{"7", "~2"};
}

void DiscoveryTest::serialsAreDistinct() {
    QFETCH(Serials, serials);
    QFETCH(Serials, told);
    QCOMPARE(distinctSerials(serials), told);
}

void DiscoveryTest::sortsBySerialThenAddress() {
    const auto camera = [](const char* serial, const char* address) {
        Found found;
        found.serial = serial;
        found.address = address;
        return found;
    };
    const QVector<Found> sorted = kvgen::sorted({camera("SN2", "10.0.0.1"), camera("SN1", "10.0.0.10"),
                                                 camera("SN1", "10.0.0.9"), camera("SN0", "10.0.1.1")});
    QVector<QByteArray> order;
    for (const Found& found : sorted)
        order.append(found.serial + ' ' + found.address);
    QCOMPARE(order, (QVector<QByteArray>{"SN0 10.0.1.1", "SN1 10.0.0.9", "SN1 10.0.0.10", "SN2 10.0.0.1"}));
}

void DiscoveryTest::nobodyAnswersAtOnce() {
    QElapsedTimer timer;
    timer.start();
    const kvgen::Look look = kvgen::lookAt("127.77.0.1");
    QVERIFY(!look.answers);
    QCOMPARE(look.localAddress, QByteArray("127.0.0.1"));
    QVERIFY(!kvgen::lookAt("no address").answers);
    QVERIFY(timer.elapsed() < 5000);
}

QTEST_APPLESS_MAIN(DiscoveryTest)

#include "tst_discovery.moc"
