// SPDX-License-Identifier: Apache-2.0
// list-cameras beside fake cameras: what it tells of them, and that it leaves them as they were.
// Before Qt, which has a macro of a name that this uses.
#include <arv.h>

#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include "camerareport.h"
#include "configuration.h"
#include "fakecameras.h"
#include "privatenetwork.h"

namespace {

constexpr int kLimit = 30000;           // ms
constexpr guint32 kPrivilege = 0x0a00;  // register: who has control

struct Run {
    int code = -1;
    QString out, err;

    /// The lines of one camera.
    QString camera(int index) const {
        const int from = out.indexOf(QStringLiteral("Camera %1:").arg(index));
        return from < 0 ? QString() : out.mid(from, out.indexOf(QLatin1String("\n\n"), from) - from);
    }
};

Run listCameras(const QStringList& arguments, const QString& program = QStringLiteral(LIST_CAMERAS)) {
    QProcess process;
    process.start(program, arguments);
    Run run;
    if (!process.waitForFinished(kLimit))
        return run;
    run.code = process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
    run.out = QString::fromUtf8(process.readAllStandardOutput());
    run.err = QString::fromUtf8(process.readAllStandardError());
    return run;
}

/// Opens a camera, and so has control of it.
class Controller {
public:
    explicit Controller(const QString& address) : camera_(arv_camera_new(qPrintable(address), nullptr)) {}
    ~Controller() { g_clear_object(&camera_); }
    Controller(const Controller&) = delete;
    Controller& operator=(const Controller&) = delete;

    ArvCamera* camera() const { return camera_; }
    ArvDevice* device() const { return camera_ ? arv_camera_get_device(camera_) : nullptr; }
    bool letGo() { return arv_gv_device_leave_control(ARV_GV_DEVICE(device()), nullptr); }
    guint32 privilege() const {
        guint32 value = ~0U;
        arv_device_read_register(device(), kPrivilege, &value, nullptr);
        return value;
    }

private:
    ArvCamera* camera_;
};

/// Of a camera that list-cameras has looked at: all that can be told apart by numbers.
QVector<double> valuesOf(ArvCamera* camera) {
    QVector<double> values;
    for (const char* feature : {"Width", "Height", "OffsetX", "OffsetY", "GevSCPSPacketSize", "GevSCPD"})
        values.append(double(arv_camera_get_integer(camera, feature, nullptr)));
    for (const char* feature : {"ExposureTime", "Gain", "BlackLevel", "Gamma", "AcquisitionFrameRate"})
        values.append(arv_camera_get_float(camera, feature, nullptr));
    values.append(double(qHash(QByteArray(arv_camera_get_pixel_format_as_string(camera, nullptr)))));
    return values;
}

}  // namespace

class TestListCameras : public QObject {
    Q_OBJECT

private Q_SLOTS:
    void findsThemBySerialNumber() {
        if (!isNetworkPrivate())
            QSKIP("a search finds whatever is in this network");
        FakeCameras cameras(3);
        cameras.setOptions(0, {"--serial", "ZZ9"});
        cameras.setOptions(1, {"--serial", "AA1"});
        cameras.setOptions(2, {"--serial", "MM3456789012345"});
        QCOMPARE(cameras.start(), QString());

        const Run run = listCameras({});
        QCOMPARE(run.code, 0);
        QVERIFY2(run.camera(0).startsWith("Camera 0: AA1\n"), qPrintable(run.out));
        QVERIFY2(run.camera(0).contains(cameras.address(1) + ", by lo ("), qPrintable(run.out));
        QVERIFY2(run.camera(1).startsWith("Camera 1: 456789012345\n"), qPrintable(run.out));
        QVERIFY2(run.camera(1).contains("serial number MM3456789012345"), qPrintable(run.out));
        QVERIFY2(run.camera(2).startsWith("Camera 2: ZZ9\n"), qPrintable(run.out));
    }

    void findsNone() {
        if (!isNetworkPrivate())
            QSKIP("a search finds whatever is in this network");
        const Run run = listCameras({});
        QCOMPARE(run.code, 1);
        QCOMPARE(run.out, QString());
        QVERIFY2(run.err.startsWith("No camera answers."), qPrintable(run.err));
        QVERIFY2(run.err.contains("lo 127.0.0.1/8"), qPrintable(run.err));
    }

    void tellsWhatACameraHas() {
        FakeCameras cameras(1, {"--model", "Board 12", "--width", "800", "--height", "600", "--rate", "20",
                                "--format", "BayerRG8,Mono8", "--features", "all,-gamma,-mirrors"});
        QCOMPARE(cameras.start(), QString());
        const Run run = listCameras({"--addresses", cameras.address(0)});
        QCOMPARE(run.code, 0);
        const QString text = run.camera(0).simplified();
        for (const char* part :
             {"Board 12", "control free", "size 800 x 600 px full, 800 x 600 px now",
              "formats BayerRG8, Mono8; now BayerRG8", "0.5 MB each, 20.0 a second: 9.6 MB/s",
              "Exposure (ExposureTime)", "lacks Gamma, Contrast, MirrorX, MirrorY",
              "(InLibrary): Gamma, Contrast, MirrorX, MirrorY", "triggers Software, Line0, Line1"})
            QVERIFY2(text.contains(QLatin1String(part)),
                     qPrintable(QLatin1String(part) + " is not in " + text));
    }

    /// What it sends, and not what it was asked for.
    void tellsTheRateThatTheExposureLets() {
        FakeCameras cameras(1, {"--rate", "20", "--exposure", "100000", "--features", "all,resultingrate"});
        QCOMPARE(cameras.start(), QString());
        const Run run = listCameras({"--addresses", cameras.address(0)});
        QCOMPARE(run.code, 0);
        QVERIFY2(run.camera(0).contains("10.0 a second"), qPrintable(run.out));
    }

    void keepsTheOrderOfAddresses() {
        FakeCameras cameras(2);
        QCOMPARE(cameras.start(), QString());
        const QString nobody = QStringLiteral("127.250.250.250");
        const QString elsewhere = QStringLiteral("203.0.113.5");
        const Run run =
            listCameras({"--addresses=" +
                         QStringList{cameras.address(1), nobody, elsewhere, cameras.address(0)}.join(',')});
        QCOMPARE(run.code, 0);
        QVERIFY2(run.camera(0).startsWith("Camera 0: FAKE0002\n"), qPrintable(run.out));
        QVERIFY2(run.camera(1).contains("does not answer"), qPrintable(run.out));
        QVERIFY2(run.camera(2).contains(elsewhere), qPrintable(run.out));
        QVERIFY2(run.camera(3).startsWith("Camera 3: FAKE0001\n"), qPrintable(run.out));
        if (isNetworkPrivate())
            QVERIFY2(run.camera(2).contains("cannot be reached"), qPrintable(run.out));
    }

    void countsNoSilentAddress() {
        const Run run = listCameras({"--addresses", "127.250.250.250"});
        QCOMPARE(run.code, 1);
        QVERIFY2(run.camera(0).contains("does not answer"), qPrintable(run.out));
        QVERIFY2(run.err.startsWith("No camera answers."), qPrintable(run.err));
    }

    void leavesAHeldCameraAlone() {
        FakeCameras cameras(1);
        QCOMPARE(cameras.start(), QString());
        const Controller controller(cameras.address(0));
        QVERIFY(controller.camera());
        const guint32 before = controller.privilege();
        QVERIFY(before != 0);

        const Run run = listCameras({"--addresses", cameras.address(0)});
        QCOMPARE(run.code, 0);
        QVERIFY2(run.camera(0).contains("held by another program"), qPrintable(run.out));
        QCOMPARE(controller.privilege(), before);
        QVERIFY(arv_gv_device_is_controller(ARV_GV_DEVICE(controller.device())));
    }

    void changesNothing() {
        FakeCameras cameras(1);
        QCOMPARE(cameras.start(), QString());
        Controller controller(cameras.address(0));
        QVERIFY(controller.camera());
        arv_camera_set_exposure_time(controller.camera(), 4321, nullptr);
        arv_camera_set_region(controller.camera(), 16, 8, 320, 240, nullptr);
        arv_camera_gv_set_packet_size(controller.camera(), 1200, nullptr);
        arv_camera_set_frame_rate(controller.camera(), 7, nullptr);
        const QVector<double> before = valuesOf(controller.camera());
        QVERIFY(before.contains(4321) && before.contains(320) && before.contains(1200));
        QVERIFY(controller.letGo());
        QCOMPARE(controller.privilege(), 0U);

        const Run run = listCameras({"--addresses", cameras.address(0)});
        QCOMPARE(run.code, 0);
        QVERIFY2(run.camera(0).contains("control     free"), qPrintable(run.out));
        QCOMPARE(valuesOf(controller.camera()), before);
        QCOMPARE(controller.privilege(), 0U);
    }

    void writesAConfiguration() {
        FakeCameras cameras(2, {"--format", "BayerRG8,Mono8"});
        cameras.setOptions(0, {"--serial", "A,b;\"c\\d"});
        QCOMPARE(cameras.start(), QString());
        const QStringList addresses{cameras.address(1), cameras.address(0)};
        const Run run = listCameras({"--ini", "--addresses", addresses.join(',')});
        QCOMPARE(run.code, 0);
        // What is proposed, and not set, is right too.
        for (const QString& text :
             {run.out, QString(run.out).replace("\n;P", "\nP").replace("\n;F", "\nF")}) {
            const QTemporaryDir folder;
            const QString name = folder.filePath("kvcap2-genicam.ini");
            QFile file(name);
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(text.toUtf8()) > 0);
            file.close();
            complaints_ = 0;
            const QtMessageHandler usual = qInstallMessageHandler(complain);
            const kvgen::Configuration configuration = kvgen::readConfiguration(name);
            qInstallMessageHandler(usual);
            QCOMPARE(complaints_, 0);
            QCOMPARE(configuration.addresses, addresses);
            QCOMPARE(configuration.of(0).serial, QByteArray("FAKE0002"));
            QCOMPARE(configuration.of(1).serial, QByteArray("A,b;\"c\\d"));
            if (text != run.out)
                QCOMPARE(configuration.of(1).pixelFormat, QByteArray("BayerRG8"));
        }
    }

    void reckonsWhatALinkCarries_data() {
        QTest::addColumn<qint64>("speed");
        QTest::addColumn<double>("rate");
        QTest::addColumn<bool>("isTooMuch");
        QTest::newRow("20 frames a second, 105 MB/s") << qint64(1'000'000'000) << 20.0 << false;
        QTest::newRow("25 frames a second, 131 MB/s") << qint64(1'000'000'000) << 25.0 << true;
        QTest::newRow("a link that does not say") << qint64(0) << 25.0 << true;
        QTest::newRow("a faster link") << qint64(2'500'000'000) << 25.0 << false;
        QTest::newRow("a slow link") << qint64(100'000'000) << 5.0 << true;
    }
    void reckonsWhatALinkCarries() {
        QFETCH(const qint64, speed);
        QFETCH(const double, rate);
        QFETCH(const bool, isTooMuch);
        kvgen::CameraReport report;
        kvgen::LocalAddress local;
        local.address = 0xC0A80A01;
        local.mask = 0xFFFFFF00;
        local.network.name = "eth1";
        local.network.linkSpeed = speed;
        report.local = local;
        report.payload = 1280 * 1024;
        report.rate = rate;
        QVector<kvgen::CameraReport> reports;
        for (report.index = 0; report.index < 4; ++report.index)
            reports.append(report);

        const QString text = kvgen::linksAsText(reports);
        QVERIFY2(text.startsWith("eth1: 4 cameras, together "), qPrintable(text));
        QCOMPARE(text.contains("more than the link carries"), isTooMuch);
        const QString configuration = kvgen::asConfiguration(reports, "list-cameras");
        QRegularExpression set("^FrameRate=([0-9.]+)$", QRegularExpression::MultilineOption);
        int lowered = 0;
        for (auto match = set.globalMatch(configuration); match.hasNext(); ++lowered) {
            const double proposed = match.next().captured(1).toDouble();
            QVERIFY(proposed > 0);
            const double together = 4 * proposed * double(report.payload);
            QVERIFY2(together <= 0.92 / 8 * double(speed > 0 ? speed : 1'000'000'000),
                     qPrintable(configuration));
        }
        QCOMPARE(lowered, isTooMuch ? 4 : 0);
    }

    void tellsWhatKeepsACameraOff_data() {
        QTest::addColumn<int>("state");
        QTest::addColumn<QString>("text");
        using State = kvgen::CameraReport::State;
        QTest::newRow("held") << int(State::Held) << "held by another program";
        QTest::newRow("silent") << int(State::Silent) << "does not answer";
        QTest::newRow("another subnet") << int(State::OtherSubnet) << "cannot be reached";
        QTest::newRow("refused") << int(State::Refused) << "cannot be opened: no description";
    }
    /// Also in the configuration, as a remark, and with nothing that would be set.
    void tellsWhatKeepsACameraOff() {
        QFETCH(const int, state);
        QFETCH(const QString, text);
        kvgen::CameraReport report;
        report.state = static_cast<kvgen::CameraReport::State>(state);
        report.trouble = "no description";
        report.found.name = report.found.address = "192.168.10.20";
        report.found.serial = "SN1";
        kvgen::LocalAddress local;
        local.address = 0xC0A80A01;
        local.mask = 0xFFFFFF00;
        local.network.name = "eth1";
        local.network.mtu = 9000;
        local.network.linkSpeed = 1'000'000'000;
        report.local = local;
        const QString all = kvgen::asText(report);
        QVERIFY2(all.contains(text) && !all.contains("formats"), qPrintable(all));
        QVERIFY2(all.contains("192.168.10.20, by eth1 (192.168.10.1, MTU 9000, 1000 Mbit/s)"),
                 qPrintable(all));
        const QString configuration = kvgen::asConfiguration({report}, "list-cameras");
        QVERIFY2(configuration.contains("\n; " + text), qPrintable(configuration));
        QVERIFY2(configuration.contains("\nSerial=SN1\n") && !configuration.contains("PixelFormat"),
                 qPrintable(configuration));
        // It counts as there where something has answered.
        QCOMPARE(report.answers(),
                 report.state == kvgen::CameraReport::State::Held || text.startsWith("cannot be opened"));
    }

    void tellsOfAUsbCamera() {
        kvgen::Found found;
        found.name = "Nobody-0000";
        const kvgen::CameraReport report = kvgen::examined(found, {});
        QCOMPARE(report.state, kvgen::CameraReport::State::Refused);
        QVERIFY(!report.trouble.isEmpty());
        QVERIFY(!report.answers());
        const QString text = kvgen::asText(report);
        QVERIFY2(text.contains("USB, Nobody-0000") && text.contains("cannot be opened: "), qPrintable(text));
    }

    void knowsItsOptions() {
        QCOMPARE(listCameras({"--adresses", "127.0.0.1"}).code, 2);
        QCOMPARE(listCameras({"--addresses"}).code, 2);
        const Run help = listCameras({"--help"});
        QCOMPARE(help.code, 0);
        QVERIFY(help.out.contains("--ini"));
        for (const char* code : {"with 0 ", "with 1 ", "with 2 "})
            QVERIFY2(help.out.contains(QLatin1String(code)), qPrintable(help.out));
    }

    /// The package for Debian has it under another one.
    void callsItselfByItsName() {
        FakeCameras cameras(1);
        QCOMPARE(cameras.start(), QString());
        const QTemporaryDir folder;
        const QString name = folder.filePath("bivista-list-cameras");
        QVERIFY(QFile::link(QStringLiteral(LIST_CAMERAS), name));
        QVERIFY(listCameras({"--help"}, name).out.startsWith("bivista-list-cameras [--addresses"));
        const Run wrong = listCameras({"--adresses"}, name);
        QVERIFY2(
            wrong.err.startsWith("bivista-list-cameras: what is \"--adresses\"?\nbivista-list-cameras ["),
            qPrintable(wrong.err));
        const Run made = listCameras({"--ini", "--addresses", cameras.address(0)}, name);
        QVERIFY2(made.out.contains("Made by bivista-list-cameras;"), qPrintable(made.out));
        QVERIFY2(made.out.contains("\nAddresses=" + cameras.address(0) + '\n'), qPrintable(made.out));
    }

private:
    static void complain(QtMsgType, const QMessageLogContext&, const QString&) { ++complaints_; }
    static inline int complaints_ = 0;
};

CAMERA_TEST_MAIN(TestListCameras)
#include "tst_listcameras.moc"
