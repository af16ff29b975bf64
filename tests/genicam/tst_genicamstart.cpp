// SPDX-License-Identifier: Apache-2.0
// How programs on the library for GenICam cameras start and end: each time another process, since the library
// looks for cameras once.
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QtTest>

#include "fakecameras.h"
#include "privatenetwork.h"

namespace {

constexpr int kLimit = 20000;  // ms for a program
constexpr int kSearch = 1300;  // ms that a discovery may take
constexpr int kSlack = 1100;   // ms that a busy machine takes for nothing
const QStringList kSmall{"--width", "320", "--height", "240"};

class Probe : public QProcess {
public:
    explicit Probe(const QStringList& arguments) {
        setProcessChannelMode(QProcess::ForwardedErrorChannel);
        start(QStringLiteral(CAMERA_PROBE), arguments);
    }
    /// The next line within so many ms; empty: none.
    QByteArray line(int milliseconds) {
        QElapsedTimer timer;
        timer.start();
        while (!canReadLine() && timer.elapsed() < milliseconds && state() != QProcess::NotRunning)
            waitForReadyRead(static_cast<int>(milliseconds - timer.elapsed()));
        return readLine().trimmed();
    }
};

QJsonObject look(const QString& ini = QString()) {
    Probe probe(ini.isEmpty() ? QStringList{"look"} : QStringList{"look", ini});
    if (!probe.waitForFinished(kLimit) || probe.exitStatus() != QProcess::NormalExit || probe.exitCode() != 0)
        return {};
    return QJsonDocument::fromJson(probe.readAllStandardOutput()).object();
}

QString addresses(const FakeCameras& fakes, int count) {
    QStringList all;
    for (int i = 0; i < count; ++i) {
        QString address = fakes.address(0);
        all.append(address.left(address.lastIndexOf('.') + 1) + QString::number(i + 1));
    }
    return "[Library]\nAddresses=" + all.join(", ") + '\n';
}

}  // namespace

class GenicamStartTest : public QObject {
    Q_OBJECT

private slots:
    void counts_data();
    void counts();
    void nonsenseIsToldAndLeftOut_data();
    void nonsenseIsToldAndLeftOut();
    void whatACameraCannotDoIsTold_data();
    void whatACameraCannotDoIsTold();
    void noCameraIsFound();
    void foundCamerasAreSorted();
    void ofNineEightAreUsed();
    void alikeNumbersAreToldApart();
    void endsInOrder_data();
    void endsInOrder();
    void cameraIsFoundAtItsNewAddress();
};

void GenicamStartTest::counts_data() {
    QTest::addColumn<int>("named");
    QTest::addColumn<int>("count");
    QTest::newRow("one") << 1 << 1;
    QTest::newRow("six") << 6 << 6;
}

void GenicamStartTest::counts() {
    QFETCH(int, named);
    QFETCH(int, count);
    FakeCameras fakes(1, kSmall);
    QCOMPARE(fakes.start(), QString());
    const QJsonObject seen = look(addresses(fakes, named));
    QCOMPARE(seen["count"].toInt(-1), count);
    QCOMPARE(seen["again"].toInt(-1), count);
    QVERIFY(seen["elapsed"].toInt() < kSlack);
    QVERIFY(seen["first"].toBool());
    QVERIFY(seen["beyond"].toBool());
    QCOMPARE(seen["log"].toString().count("is not there"), count - 1);
}

void GenicamStartTest::nonsenseIsToldAndLeftOut_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<int>("lines");
    QTest::newRow("values") << "AnswerWithin=soon\n[Camera]\nPacketSize=-3\nPacketDelay=1e99\n"
                               "SocketBuffer=\nFrameRate=nan\nExposureUnit=0\nRegions=0x0,axb\n"
                            << 5;
    QTest::newRow("keys") << "Adresses=1\n[Camera]\nSpeed=9\n[Camera9]\nFrameRate=1\n[]\n=\n[[[\n" << 3;
    QTest::newRow("bytes") << QString::fromLatin1("\x7f\x01\xff\xfe[Camera]]=\n\\x\n\"\n%%\n@Variant(\n")
                           << 0;
    QTest::newRow("a long line") << "[Camera]\nPixelFormat=" + QString(100000, 'x') + '\n' << 0;
}

void GenicamStartTest::nonsenseIsToldAndLeftOut() {
    QFETCH(QString, text);
    QFETCH(int, lines);
    FakeCameras fakes(1, kSmall);
    QCOMPARE(fakes.start(), QString());
    const QJsonObject seen = look(addresses(fakes, 1) + text);
    QCOMPARE(seen["count"].toInt(-1), 1);
    QVERIFY2(seen["first"].toBool(), qPrintable(seen["log"].toString()));
    const QString log = seen["log"].toString();
    QVERIFY2(log.count("makes no sense") + log.count("unknown key") >= lines, qPrintable(log));
}

void GenicamStartTest::whatACameraCannotDoIsTold_data() {
    QTest::addColumn<QString>("text");
    QTest::addColumn<QString>("told");
    QTest::newRow("pixel format") << "PixelFormat=RGB8\n"
                                  << "has no pixel format RGB8; another one is taken";
    QTest::newRow("region outside") << "Regions=100x100+5000+0\n"
                                    << "no resolution mode for the region 100x100+5000+0: it lies outside";
    QTest::newRow("region too far right") << "Regions=100x100+316+0\n"
                                          << "the region 100x100+316+0 becomes 4x100+316+0";
}

/// Once, and it serves all the same, by what it can do.
void GenicamStartTest::whatACameraCannotDoIsTold() {
    QFETCH(QString, text);
    QFETCH(QString, told);
    FakeCameras fakes(1, kSmall);
    QCOMPARE(fakes.start(), QString());
    const QJsonObject seen = look(addresses(fakes, 1) + "[Camera]\n" + text);
    const QString log = seen["log"].toString();
    QVERIFY2(log.count(told) == 1, qPrintable(log));
    QVERIFY2(seen["first"].toBool(), qPrintable(log));
}

void GenicamStartTest::noCameraIsFound() {
    if (!isNetworkPrivate())
        QSKIP("this system does not allow a network of its own");
    const QJsonObject seen = look();
    QCOMPARE(seen["count"].toInt(-1), 0);
    QCOMPARE(seen["again"].toInt(-1), 0);
    QVERIFY(seen["beyond"].toBool());
    QVERIFY2(seen["elapsed"].toInt() <= kSearch + kSlack,
             qPrintable(QString::number(seen["elapsed"].toInt())));
    QCOMPARE(seen["log"].toString().count("no GenICam camera answers"), 1);
}

void GenicamStartTest::foundCamerasAreSorted() {
    if (!isNetworkPrivate())
        QSKIP("this system does not allow a network of its own");
    FakeCameras fakes(3, kSmall);
    const QStringList serials{"C", "A", "B"};
    for (int i = 0; i < 3; ++i)
        fakes.setOptions(i, {"--serial", serials[i]});
    QCOMPARE(fakes.start(), QString());
    const QJsonObject seen = look();
    QCOMPARE(seen["serials"].toArray(), (QJsonArray{"A", "B", "C"}));
    QVERIFY2(seen["elapsed"].toInt() <= kSearch + kSlack,
             qPrintable(QString::number(seen["elapsed"].toInt())));
    QVERIFY(seen["first"].toBool());
}

void GenicamStartTest::ofNineEightAreUsed() {
    if (!isNetworkPrivate())
        QSKIP("this system does not allow a network of its own");
    FakeCameras eight(8, kSmall);
    QCOMPARE(eight.start(), QString());
    FakeCameras ninth(1, kSmall);
    ninth.setOptions(0, {"--address", "127.0.0.99", "--serial", "FAKE0000"});
    QCOMPARE(ninth.start(), QString());
    const QJsonObject seen = look();
    QCOMPARE(seen["count"].toInt(-1), 8);
    QCOMPARE(seen["serials"].toArray().first().toString(), QString("FAKE0000"));
    QCOMPARE(seen["log"].toString().count("9 cameras, of which the first 8 are used"), 1);
    QVERIFY(seen["first"].toBool());
}

void GenicamStartTest::alikeNumbersAreToldApart() {
    FakeCameras fakes(2, kSmall + QStringList{"--serial", "LONGSERIAL-0001"});
    for (int i = 0; i < 2; ++i)
        fakes.setOptions(i, {"--serial", "LONGSERIAL-0001"});
    QCOMPARE(fakes.start(), QString());
    const QJsonObject seen = look(addresses(fakes, 2));
    const QByteArray all = QJsonDocument(seen["serials"].toArray()).toJson();
    QVERIFY2(seen["serials"].toArray() == (QJsonArray{"GSERIAL-0001", "GSERIAL-00~2"}), all.constData());
    QCOMPARE(seen["log"].toString().count("as another one has"), 1);
    QVERIFY(seen["first"].toBool());
}

void GenicamStartTest::endsInOrder_data() {
    QTest::addColumn<bool>("isFrozen");
    QTest::newRow("all run") << false;
    QTest::newRow("one is frozen") << true;
}

void GenicamStartTest::endsInOrder() {
    QFETCH(bool, isFrozen);
    FakeCameras fakes(2, kSmall);
    QCOMPARE(fakes.start(), QString());
    if (isFrozen)
        fakes.freeze(1);
    for (int i = 0; i < 3; ++i) {
        Probe probe({"end", addresses(fakes, 2)});
        QCOMPARE(probe.line(kLimit), QByteArray("ends"));
        QElapsedTimer timer;
        timer.start();
        QVERIFY(probe.waitForFinished(kLimit));
        QVERIFY2(timer.elapsed() < 3000, qPrintable(QString::number(timer.elapsed())));
        QCOMPARE(probe.exitStatus(), QProcess::NormalExit);
        QCOMPARE(probe.exitCode(), 0);
        // Its cameras stay held for a while, or so they believe.
        if (i < 2)
            QCOMPARE(fakes.restart(0), QString());
    }
}

void GenicamStartTest::cameraIsFoundAtItsNewAddress() {
    if (!isNetworkPrivate())
        QSKIP("this system does not allow a network of its own");
    FakeCameras fakes(2, kSmall);
    QCOMPARE(fakes.start(), QString());
    Probe probe({"follow"});
    QCOMPARE(probe.line(kLimit), QByteArray("frame"));
    fakes.kill(0);
    QCOMPARE(probe.line(kLimit), QByteArray("none"));
    fakes.setOptions(0, {"--address", "127.0.0.77"});
    QCOMPARE(fakes.start(0), QString());
    QCOMPARE(probe.line(2 * kLimit), QByteArray("frame"));
    probe.terminate();
    QVERIFY(probe.waitForFinished(kLimit));
    QCOMPARE(probe.exitCode(), 0);
}

CAMERA_TEST_MAIN(GenicamStartTest)
#include "tst_genicamstart.moc"
