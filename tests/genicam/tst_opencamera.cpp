// SPDX-License-Identifier: Apache-2.0
// How a camera is opened, set up and started, without a keeper: cameras that refuse, fall silent or talk
// nonsense at whatever step, and what the network lets through.
// Before Qt, which takes a word that a header of GLib uses.
#include <arv.h>

#include <QtEndian>
#include <QtTest>

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <thread>

#include "fakecameras.h"
#include "opencamera.h"
#include "privatenetwork.h"

using namespace kvgen;

namespace {

constexpr auto kFrame = std::chrono::seconds(20);
constexpr int kTries = 5;                // where an access may be late on a busy machine
constexpr int kShare = 15;               // requests of one row
constexpr uint32_t kStreamPort = 0xD00;  // registers
constexpr uint32_t kStreamAddress = 0xD18;
constexpr uint32_t kPacketSize = 0xD04;
constexpr uint32_t kPacketDelay = 0xD08;
const QStringList kSmall{"--width", "320", "--height", "240"};

/// What one opening is asked for, and what came of it.
struct Opening {
    std::unique_ptr<OpenCamera> at(const QString& address) {
        Found found;
        found.address = address.toLatin1();
        found.name = found.address;
        return OpenCamera::open(found, wishes(), memory, trouble, reason);
    }
    OpenCamera::Wishes wishes() const {
        return {configuration, QStringLiteral("KVCap2: camera 0"), 1, isBySerial, [] {}};
    }

    CameraConfiguration configuration;
    bool isBySerial = false;
    Memory memory;
    Trouble trouble = Trouble::None;
    QString reason;
};

/// What the library says of regions that become others is not shown, while this lives.
class Quiet {
public:
    Quiet() : before_(qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {})) {}
    ~Quiet() { qInstallMessageHandler(before_); }
    Quiet(const Quiet&) = delete;
    Quiet& operator=(const Quiet&) = delete;

private:
    const QtMessageHandler before_;
};

/// What the camera says to anybody: a number without the flags above it. 0xFFFF: nothing. By a packet of our
/// own: a device that has no control would take seconds for it.
uint32_t registerOf(const QString& address, uint32_t number) {
    sockaddr_in camera{};
    camera.sin_family = AF_INET;
    camera.sin_port = htons(3956);
    inet_pton(AF_INET, address.toLatin1().constData(), &camera.sin_addr);
    const int handle = socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    // A request that wants an answer: to read a register, 4 bytes, number 1.
    std::array<uint8_t, 12> request{0x42, 0x01, 0x00, 0x80, 0x00, 0x04, 0x00, 0x01};
    qToBigEndian<quint32>(number, &request[8]);
    std::array<uint8_t, 12> answer{};
    uint32_t value = 0xFFFF;
    for (int i = 0; i < 20 && value == 0xFFFF; ++i) {
        static_cast<void>(::sendto(handle, request.data(), request.size(), 0,
                                   reinterpret_cast<const sockaddr*>(&camera), sizeof camera));
        pollfd waiting{handle, POLLIN, 0};
        if (poll(&waiting, 1, 1000) == 1 && recv(handle, answer.data(), answer.size(), 0) == 12)
            value = qFromBigEndian<quint32>(&answer[8]) & 0xFFFF;
    }
    close(handle);
    return value;
}

/// Empty: it opens, starts and sends a frame.
QString trouble(Opening& opening, const QString& address) {
    const std::unique_ptr<OpenCamera> camera = opening.at(address);
    if (!camera)
        return QStringLiteral("not open: trouble %1, %2")
            .arg(static_cast<int>(opening.trouble))
            .arg(opening.reason);
    const QString reason = camera->start(false);
    if (!reason.isEmpty())
        return "not started: " + reason;
    // Aravis does not ask whether the camera has taken them.
    if (registerOf(address, kStreamPort) == 0 || registerOf(address, kStreamAddress) == 0)
        return QStringLiteral("frames go nowhere");
    const Clock::time_point deadline = Clock::now() + kFrame;
    ArvBuffer* const frame = camera->queue()->take(deadline);
    if (frame == nullptr)
        return QStringLiteral("no frame");
    camera->queue()->giveBack(frame);
    return camera->pulse() == OpenCamera::Pulse::Alive && camera->isOurs() ? QString()
                                                                           : QStringLiteral("not ours");
}

QString quietTrouble(Opening& opening, const QString& address) {
    const Quiet quiet;
    return trouble(opening, address);
}

/// As a camera that nothing ails; on a busy machine not at once.
QString troubleInTheEnd(Opening& opening, const QString& address) {
    QString said = quietTrouble(opening, address);
    for (int i = 1; i < kTries && !said.isEmpty(); ++i)
        said = quietTrouble(opening, address);
    return said;
}

}  // namespace

class OpenCameraTest : public QObject {
    Q_OBJECT

private slots:
    void usbCameraThatIsNotThere();
    void controlThatIsNotGot();
    void anotherOneAtItsAddress();
    void oneThatAlwaysOwesAnAnswer();
    void fallsSilent();
    void refusesOneRequest_data();
    void refusesOneRequest();
    void refusesOneRequestOfItsParameters_data();
    void refusesOneRequestOfItsParameters();
    void packetsOfASetDoNotStay();
    void whatItRefuses_data();
    void whatItRefuses();
    void regionsThatItRefuses_data();
    void regionsThatItRefuses();
    void formatThatNobodyKnows();
    void payloadOfNonsense_data();
    void payloadOfNonsense();
    void moreMemoryThanThereIs();
    void largePacketsDoNotFit();
    void packetsAreNegotiated_data();
    void packetsAreNegotiated();
    void packetsThatStayTooLarge();
};

void OpenCameraTest::usbCameraThatIsNotThere() {
    Opening opening;
    Found found;
    found.name = "Nobody-0000";
    QVERIFY(!OpenCamera::open(found, opening.wishes(), opening.memory, opening.trouble, opening.reason));
    QCOMPARE(opening.trouble, Trouble::Absent);
    QVERIFY2(!opening.reason.isEmpty(), "nothing is said");
}

/// Another program was quicker.
void OpenCameraTest::controlThatIsNotGot() {
    FakeCameras fakes(1, kSmall + QStringList{"--refuses", "control"});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    QVERIFY(!opening.at(fakes.address(0)));
    QCOMPARE(opening.trouble, Trouble::Held);
}

void OpenCameraTest::anotherOneAtItsAddress() {
    FakeCameras fakes(1, kSmall);
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    opening.isBySerial = true;
    opening.memory.serial = "ELSE0001";
    QVERIFY(!opening.at(fakes.address(0)));
    QCOMPARE(opening.trouble, Trouble::Absent);
    QCOMPARE(opening.reason, QString("at its address there is FAKE0001 now"));
    QCOMPARE(opening.memory.serial, QByteArray("ELSE0001"));
    // Where it is told by its address, the other one is taken.
    opening.isBySerial = false;
    QTest::ignoreMessage(QtWarningMsg,
                         "KVCap2: camera 0: now it is another camera, with the serial number FAKE0001");
    QCOMPARE(trouble(opening, fakes.address(0)), QString());
    QCOMPARE(opening.memory.serial, QByteArray("FAKE0001"));
}

/// Without the answer it may have less than it seems to; but where it never comes, the camera serves without
/// it.
void OpenCameraTest::oneThatAlwaysOwesAnAnswer() {
    QTemporaryDir folder;
    QFile file(folder.filePath("trouble"));
    QVERIFY(file.open(QIODevice::WriteOnly) && file.write("stop?") == 5);
    file.close();
    FakeCameras fakes(1, kSmall + QStringList{"--trouble-file", file.fileName()});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    for (int i = 0; i < 2; ++i) {
        QVERIFY(!opening.at(fakes.address(0)));
        QCOMPARE(opening.trouble, Trouble::Absent);
        QCOMPARE(opening.reason, OpenCamera::silent());
    }
    QCOMPARE(trouble(opening, fakes.address(0)), QString());
    QVERIFY(!opening.memory.modes.isEmpty());
    // Not forgiven for ever: with the answer it is as any other.
    QVERIFY(file.remove());
    QCOMPARE(trouble(opening, fakes.address(0)), QString());
    QCOMPARE(opening.memory.owed, 0);
}

/// It is absent then and nothing else; and when it answers again everything is as ever.
void OpenCameraTest::fallsSilent() {
    // Requests since it was taken: while it is opened, its modes are looked for, it is started. Between these
    // there are many of the same kind, each of which costs seconds.
    constexpr std::array kSilentAt{2, 5, 8, 20, 70, 81, 92, 103};
    constexpr size_t kOpening = 4;  // of them, also where requests are repeated
    FakeCameras fakes(kSilentAt.size(), kSmall);
    for (size_t i = 0; i < kSilentAt.size(); ++i)
        fakes.setOptions(static_cast<int>(i),
                         {"--silent-at", QString::number(kSilentAt[i]), "--silent-for", "600000"});
    QCOMPARE(fakes.start(), QString());
    std::array<Opening, kSilentAt.size()> openings;
    std::array<QString, kSilentAt.size()> said;
    const auto openAll = [&] {
        std::vector<std::thread> threads;
        for (size_t i = 0; i < openings.size(); ++i)
            threads.emplace_back(
                [&, i] { said[i] = trouble(openings[i], fakes.address(static_cast<int>(i))); });
        for (std::thread& thread : threads)
            thread.join();
    };
    openAll();
    for (size_t i = 0; i < openings.size(); ++i) {
        const Opening& opening = openings[i];
        const QString text = QStringLiteral("%1: %2").arg(kSilentAt[i]).arg(said[i]);
        if (opening.trouble == Trouble::None) {
            QVERIFY2(i >= kOpening && said[i].startsWith("not started: "), qPrintable(text));
            continue;
        }
        QVERIFY2(opening.trouble == Trouble::Absent, qPrintable(text));
        QVERIFY2(!opening.reason.isEmpty() && !opening.reason.startsWith("it says"), qPrintable(text));
        const QByteArray known = opening.memory.serial;
        QVERIFY2(known.isEmpty() || known == fakes.serial(static_cast<int>(i)), known.constData());
    }
    for (int i = 0; i < fakes.count(); ++i) {
        fakes.setOptions(i, {});
        fakes.kill(i);
    }
    QCOMPARE(fakes.start(), QString());
    openAll();
    for (size_t i = 0; i < openings.size(); ++i) {
        QCOMPARE(said[i], QString());
        // Also those of half and quarter size.
        QCOMPARE(openings[i].memory.modes.size(), 3);
    }
}

void OpenCameraTest::refusesOneRequest_data() {
    QTest::addColumn<int>("first");
    QTest::addColumn<bool>("isVital");
    // Opening it and finding its modes takes 134, starting it 25, stopping it 4.
    for (const int first : {2, 17, 32, 47, 62, 77, 92, 107, 122, 137, 152})
        QTest::addRow("from request %d on", first) << first << (first == 2 || first == 17 || first == 137);
}

/// Each of the requests of an opening once. Most of them it can do without; and where not, it is not taken
/// for absent, and the next time is another one.
void OpenCameraTest::refusesOneRequest() {
    QFETCH(int, first);
    QFETCH(bool, isVital);
    FakeCameras fakes(1, kSmall);
    int failures = 0;
    for (int request = first; request < first + kShare; ++request) {
        fakes.setOptions(0, {"--refuse-at", QString::number(request), "--tells-master", "told"});
        Opening opening;
        QString said;
        for (int i = 0; i < kTries && (i == 0 || opening.trouble == Trouble::Absent); ++i) {
            QCOMPARE(fakes.restart(0), QString());
            opening = Opening();
            opening.configuration.regions = {QRect(40, 20, 160, 80)};
            said = quietTrouble(opening, fakes.address(0));
        }
        const QString text = QStringLiteral("%1: %2").arg(request).arg(said);
        failures += said.isEmpty() ? 0 : 1;
        if (opening.trouble == Trouble::None)
            QVERIFY2(said.isEmpty() || said.startsWith("not started: it ") ||
                         said.startsWith("not started: no stream: ") || said == "frames go nowhere",
                     qPrintable(text));
        else
            QVERIFY2(opening.trouble == Trouble::Nonsense && !opening.reason.isEmpty(), qPrintable(text));
        if (!said.isEmpty())
            QCOMPARE(troubleInTheEnd(opening, fakes.address(0)), QString());
    }
    QVERIFY(failures > 0 || !isVital);
}

void OpenCameraTest::refusesOneRequestOfItsParameters_data() {
    QTest::addColumn<int>("first");
    QTest::addColumn<bool>("isInTheMidst");
    // Opening it takes 91.
    for (const int first : {85, 100, 115, 130, 145, 160})
        QTest::addRow("from request %d on", first) << first << (first > 85 && first < 160);
}

/// It costs one call, or the one parameter that the camera could not be asked for, and is no absence.
void OpenCameraTest::refusesOneRequestOfItsParameters() {
    QFETCH(int, first);
    QFETCH(bool, isInTheMidst);
    const QVector<QPair<Parameter, double>> wanted{
        {Parameter::Exposure, 500}, {Parameter::Gain, 32},     {Parameter::Gamma, 2},
        {Parameter::BlackLevel, 7}, {Parameter::MirrorX, 1},   {Parameter::AeTarget, 100},
        {Parameter::Delay, 20},     {Parameter::Highspeed, 1}, {Parameter::AntiFlicker, 1},
        {Parameter::Aec, 1},        {Parameter::Agc, 1},       {Parameter::SnapMode, 2},
    };
    FakeCameras fakes(1, kSmall);
    // By the parameter: all that its calls got, twice each. Empty: it does not open.
    const auto statuses = [&] {
        QMultiMap<int, Status> result;
        Opening opening;
        const std::unique_ptr<OpenCamera> camera = opening.at(fakes.address(0));
        if (!camera)
            return result;
        for (int round = 0; round < 2; ++round) {
            for (const auto& [parameter, value] : wanted) {
                double now = -1;
                result.insert(static_cast<int>(parameter), camera->features().write(parameter, value));
                result.insert(static_cast<int>(parameter), camera->features().read(parameter, now));
            }
        }
        if (camera->pulse() != OpenCamera::Pulse::Alive)
            result.insert(-1, Status::Disconnected);
        return result;
    };
    int failures = 0;
    for (int request = first; request < first + kShare; ++request) {
        fakes.setOptions(0, {"--refuse-at", QString::number(request)});
        QMultiMap<int, Status> all{{-1, Status::Disconnected}};
        for (int i = 0; i < kTries && all.values().contains(Status::Disconnected); ++i) {
            QCOMPARE(fakes.restart(0), QString());
            all = statuses();
        }
        QSet<int> troubled;
        for (auto one = all.cbegin(); one != all.cend(); ++one) {
            const Status status = one.value();
            QVERIFY2(status == Status::Ok || status == Status::DeviceFailure || status == Status::Unsupported,
                     qPrintable(QStringLiteral("%1: %2").arg(request).arg(static_cast<int>(status))));
            if (status != Status::Ok)
                troubled.insert(one.key());
        }
        failures += troubled.size();
        QVERIFY2(troubled.size() <= 2,
                 qPrintable(QStringLiteral("%1: %2").arg(request).arg(troubled.size())));
    }
    QVERIFY(failures > 0 || !isInTheMidst);
}

/// A set in the camera's memory may be of another network.
void OpenCameraTest::packetsOfASetDoNotStay() {
    FakeCameras fakes(1, kSmall + QStringList{"--user-sets", "all"});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    opening.configuration.packetSize = 4000;
    opening.configuration.packetDelay = 1000;
    const std::unique_ptr<OpenCamera> camera = opening.at(fakes.address(0));
    QVERIFY2(camera, qPrintable(opening.reason));
    QCOMPARE(camera->start(false), QString());
    QCOMPARE(camera->features().loadUserSet(1), Status::Ok);
    QVERIFY(registerOf(fakes.address(0), kPacketSize) != 4000);
    QVERIFY(registerOf(fakes.address(0), kPacketDelay) != 1000);
    QCOMPARE(camera->start(false), QString());
    QCOMPARE(registerOf(fakes.address(0), kPacketSize), 4000U);
    QCOMPARE(registerOf(fakes.address(0), kPacketDelay), 1000U);
}

void OpenCameraTest::whatItRefuses_data() {
    QTest::addColumn<QString>("refused");
    QTest::addColumn<QString>("said");
    QTest::newRow("packet size") << "packet-size"
                                 << "";
    QTest::newRow("packet delay") << "packet-delay"
                                  << "";
    QTest::newRow("heartbeat") << "heartbeat"
                               << "";
    QTest::newRow("pixel format") << "format"
                                  << "";
    QTest::newRow("binning") << "binning"
                             << "";
    QTest::newRow("size") << "width"
                          << "";
    QTest::newRow("place") << "offset"
                           << "";
    QTest::newRow("to start") << "start"
                              << "not started: it does not start: ";
}

/// What it can do without is no trouble.
void OpenCameraTest::whatItRefuses() {
    QFETCH(QString, refused);
    QFETCH(QString, said);
    FakeCameras fakes(1, kSmall + QStringList{"--refuses", refused});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    opening.configuration.packetSize = 8000;
    opening.configuration.packetDelay = 1000;
    const QString text = trouble(opening, fakes.address(0));
    QVERIFY2(said.isEmpty() ? text.isEmpty() : text.startsWith(said), qPrintable(text));
    // One with the others gets its modes of half and quarter size.
    QCOMPARE(opening.memory.modes.size(), refused == "binning" ? 1 : 3);
}

void OpenCameraTest::regionsThatItRefuses_data() {
    QTest::addColumn<QString>("refused");
    QTest::addColumn<QRect>("region");
    QTest::addColumn<QString>("told");
    QTest::newRow("size") << "width" << QRect(0, 0, 160, 80) << "160x80+0+0: Width cannot be 160";
    QTest::newRow("place") << "offset" << QRect(40, 0, 160, 80) << "160x80+40+0: OffsetX cannot be 40";
    QTest::newRow("too near to the edge")
        << "" << QRect(318, 0, 160, 80) << "160x80+318+0: it lies outside of the sensor or is too small";
}

void OpenCameraTest::regionsThatItRefuses() {
    QFETCH(QString, refused);
    QFETCH(QRect, region);
    QFETCH(QString, told);
    FakeCameras fakes(1, kSmall + QStringList{"--features", "all,-binning", "--refuses", refused});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    opening.configuration.regions = {region};
    QTest::ignoreMessage(QtWarningMsg,
                         qPrintable("KVCap2: camera 0: no resolution mode for the region " + told));
    QCOMPARE(trouble(opening, fakes.address(0)), QString());
    QCOMPARE(opening.memory.modes.size(), 1);
    QCOMPARE(opening.memory.modes[0].size, QSize(320, 240));
}

void OpenCameraTest::formatThatNobodyKnows() {
    FakeCameras fakes(1, kSmall + QStringList{"--format", "Mono12"});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    QVERIFY(!opening.at(fakes.address(0)));
    QCOMPARE(opening.trouble, Trouble::Nonsense);
    QCOMPARE(opening.reason,
             QString("it sends the pixel format 0x01100005, which the library does not understand"));
}

void OpenCameraTest::payloadOfNonsense_data() {
    QTest::addColumn<QString>("payload");
    QTest::newRow("nothing") << "0";
    QTest::newRow("too little") << "76799";
    QTest::newRow("too much") << "400000000";
}

/// No buffer is made of such a size.
void OpenCameraTest::payloadOfNonsense() {
    QFETCH(QString, payload);
    FakeCameras fakes(1, kSmall + QStringList{"--payload", payload});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    QCOMPARE(trouble(opening, fakes.address(0)),
             QStringLiteral("not started: it says that a frame of 320 x 240 px has %1 bytes").arg(payload));
}

/// Frames of 192 MB, four of each camera. Nobody sends any, so they take no real memory.
void OpenCameraTest::moreMemoryThanThereIs() {
    FakeCameras fakes(
        3, {"--width", "8192", "--height", "8192", "--sent-width", "4", "--format", "RGB8", "--no-frames"});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    std::array<std::unique_ptr<OpenCamera>, 3> cameras;
    std::array<QString, 3> reasons;
    for (size_t i = 0; i < cameras.size(); ++i) {
        opening.memory = Memory();
        cameras[i] = opening.at(fakes.address(static_cast<int>(i)));
        QVERIFY2(cameras[i], qPrintable(opening.reason));
        reasons[i] = cameras[i]->start(false);
    }
    QCOMPARE(reasons[0] + reasons[1], QString());
    QVERIFY2(reasons[2].contains("frames of 201326592 bytes and those of the others need more memory"),
             qPrintable(reasons[2]));
    QVERIFY(!cameras[2]->isStreaming());
    // What another one gives back is there.
    cameras[0]->stop();
    QCOMPARE(cameras[2]->start(false), QString());
}

void OpenCameraTest::largePacketsDoNotFit() {
    const SmallPackets network(1500);
    if (!network.isSet())
        QSKIP("this system does not allow a network of its own, whose packets could be made small");
    FakeCameras fakes(1, kSmall);
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    opening.configuration.packetSize = 8000;
    QTest::ignoreMessage(QtWarningMsg,
                         "KVCap2: camera 0: packets of 8000 bytes do not fit through lo; they get 1500. For "
                         "larger ones allow jumbo frames (MTU 9000) there and in every switch");
    const std::unique_ptr<OpenCamera> camera = opening.at(fakes.address(0));
    QVERIFY2(camera, qPrintable(opening.reason));
    QCOMPARE(camera->start(false), QString());
    QCOMPARE(camera->packetSize(), 1500);
}

void OpenCameraTest::packetsAreNegotiated_data() {
    QTest::addColumn<int>("mtu");
    QTest::newRow("jumbo frames") << 9000;
    QTest::newRow("usual") << 1500;
}

void OpenCameraTest::packetsAreNegotiated() {
    QFETCH(int, mtu);
    const SmallPackets network(mtu);
    if (!network.isSet())
        QSKIP("this system does not allow a network of its own, whose packets could be made small");
    FakeCameras fakes(1, kSmall + QStringList{"--test-packets"});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    const std::unique_ptr<OpenCamera> camera = opening.at(fakes.address(0));
    QVERIFY2(camera, qPrintable(opening.reason));
    QCOMPARE(camera->start(false), QString());
    // The first one, of the MTU's size, was lost; from there on it is searched for.
    QVERIFY2(camera->packetSize() > mtu - 100 && camera->packetSize() < mtu,
             qPrintable(QString::number(camera->packetSize())));
}

/// They come in pieces, or not at all; at least nobody asks for them.
void OpenCameraTest::packetsThatStayTooLarge() {
    const SmallPackets network(1000);
    if (!network.isSet())
        QSKIP("this system does not allow a network of its own, whose packets could be made small");
    FakeCameras fakes(1, kSmall + QStringList{"--refuses", "packet-size"});
    QCOMPARE(fakes.start(), QString());
    Opening opening;
    const std::unique_ptr<OpenCamera> camera = opening.at(fakes.address(0));
    QVERIFY2(camera, qPrintable(opening.reason));
    for (int i = 0; i < 2; ++i) {
        QCOMPARE(camera->start(false), QString());
        QCOMPARE(camera->packetSize(), 1000);
        QVERIFY(camera->isStreaming());
    }
}

CAMERA_TEST_MAIN(OpenCameraTest)
#include "tst_opencamera.moc"
