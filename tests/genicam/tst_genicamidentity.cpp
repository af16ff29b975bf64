// SPDX-License-Identifier: Apache-2.0
// Which camera is which: with addresses, cameras that are off, others in their places, two of one number.
// Each start of a program is a process of its own, this one with an argument, in the folder of the test.
#include <QCoreApplication>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

#include "camera/kvcap2.h"
#include "cameraoperations.h"
#include "fakecameras.h"
#include "privatenetwork.h"

namespace {

constexpr int kLimit = 60000;  // ms
constexpr int kSlot = 0;
constexpr char kFile[] = "kvcap2-genicam-cameras.json";

/// A start: opens all cameras as the program does, and says whom it sees.
/// isSaving: and keeps each one's parameters. On a busy machine a camera may be too slow for one call.
int start(bool isSaving) {
    QJsonArray serials;
    QString log;
    int elapsed = 0;
    {
        const operations::Log lines;
        const operations::Clock::time_point begin = operations::Clock::now();
        int32_t count = 0;
        CameraGetCount(&count);
        for (int32_t camera = 0; camera < count; ++camera) {
            CameraInit(camera);
            char serial[kSerialNumberLength + 1] = {};
            CameraReadSerialNumber(camera, serial, kSerialNumberLength);
            serials.append(QString::fromLatin1(serial));
        }
        elapsed = operations::since(begin);
        for (int32_t camera = 0; camera < count; ++camera) {
            const operations::Clock::time_point asked = operations::Clock::now();
            while (isSaving && CameraSaveParameter(camera, kSlot) != 0 &&
                   operations::since(asked) < kLimit / 3)
                QThread::msleep(20);
            CameraFree(camera);
        }
        log = lines.text();
    }
    QFile out;
    out.open(stdout, QIODevice::WriteOnly);
    out.write(QJsonDocument(QJsonObject{{"serials", serials}, {"log", log}, {"elapsed", elapsed}}).toJson());
    return 0;
}

struct Start {
    QStringList serials;
    QString log;
    QString errors;   // of others
    int elapsed = 0;  // ms, until all are open
};

}  // namespace

class GenicamIdentityTest : public QObject {
    Q_OBJECT

private slots:
    void init() {
        folder_ = std::make_unique<QTemporaryDir>();
        QVERIFY(folder_->isValid());
    }

    void knowsOneThatIsOffByTheRunBefore() {
        FakeCameras cameras(2);
        QCOMPARE(cameras.start(), QString());
        QCOMPARE(cameras.writeConfiguration(folder_->path()), QString());
        QCOMPARE(started().serials, (QStringList{"FAKE0001", "FAKE0002"}));
        cameras.kill(0);
        const Start second = started();
        QCOMPARE(second.serials, (QStringList{"FAKE0001", "FAKE0002"}));
        QVERIFY2(!second.log.contains("nobody knows"), qPrintable(second.log));
        QVERIFY2(second.log.contains("camera 0 (FAKE0001) is not there"), qPrintable(second.log));
    }

    void saysWhatToDoAtTheFirstStart() {
        FakeCameras cameras(2);
        QCOMPARE(cameras.start(0), QString());
        QCOMPARE(cameras.writeConfiguration(folder_->path()), QString());
        const Start first = started();
        QCOMPARE(first.serials, (QStringList{"FAKE0001", ""}));
        QCOMPARE(first.log.count("nobody knows its serial number yet"), 1);
        QVERIFY2(first.log.contains("set Serial= in [Camera1]"), qPrintable(first.log));
    }

    void takesTheNumberOfTheConfiguration() {
        FakeCameras cameras(2);
        QCOMPARE(cameras.start(0), QString());
        configure(cameras, "[Camera0]\nSerial=OTHER\n[Camera1]\nSerial=FAKE0002\n");
        const Start first = started();
        QCOMPARE(first.serials, (QStringList{"OTHER", "FAKE0002"}));
        QCOMPARE(first.log.count("has the serial number FAKE0001; Serial in kvcap2-genicam.ini says OTHER"),
                 1);
        QVERIFY2(!first.log.contains("nobody knows"), qPrintable(first.log));
    }

    void namesTheConfigurationThatWasRead() {
        FakeCameras cameras(1);
        QCOMPARE(cameras.start(), QString());
        write(cameras.configuration() + "\n[Camera0]\nSerial=OTHER\n", QStringLiteral("line 2.ini"));
        qputenv("KVCAP2_GENICAM_CONFIG", "line 2.ini");
        const Start first = started();
        qunsetenv("KVCAP2_GENICAM_CONFIG");
        QCOMPARE(first.serials, QStringList{"OTHER"});
        QVERIFY2(first.log.contains("Serial in line 2.ini says OTHER"), qPrintable(first.log));
    }

    void aDamagedFileIsWrittenAnew_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("torn") << QByteArray("{\"cameras\": {\"127.0.0.1\": \"FA");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("something else") << QByteArray("[1, 2]");
        QTest::newRow("zeros") << QByteArray(5000, '\0');
        QTest::newRow("too large") << QByteArray(100000, ' ');
    }
    void aDamagedFileIsWrittenAnew() {
        QFETCH(QByteArray, content);
        FakeCameras cameras(1);
        QCOMPARE(cameras.start(), QString());
        QCOMPARE(cameras.writeConfiguration(folder_->path()), QString());
        write(content);
        const Start first = started();
        QCOMPARE(first.serials, QStringList{"FAKE0001"});
        QCOMPARE(first.log.count("which camera was where cannot be read from"), 1);
        cameras.kill(0);
        const Start second = started();
        QCOMPARE(second.serials, QStringList{"FAKE0001"});
        QVERIFY2(!second.log.contains("cannot be read"), qPrintable(second.log));
    }

    void goesOnWithoutAFile() {
        FakeCameras cameras(2);
        QCOMPARE(cameras.start(), QString());
        QCOMPARE(cameras.writeConfiguration(folder_->path()), QString());
        // What nothing can be put in the place of, whoever runs this.
        QVERIFY(QDir(folder_->path()).mkpath(QLatin1String(kFile) + "/in the way"));
        const Start first = started();
        QCOMPARE(first.serials, (QStringList{"FAKE0001", "FAKE0002"}));
        QCOMPARE(first.log.count("which camera is where cannot be written to"), 1);
    }

    void nonsenseInTheFileIsLeftOut() {
        FakeCameras cameras(3);
        configure(cameras, "");
        write(QStringLiteral("{\"cameras\": {\"%1\": 7, \"%2\": \"two words\", \"%3\": \"SN3\"}}")
                  .arg(cameras.address(0), cameras.address(1), cameras.address(2))
                  .toUtf8());
        QCOMPARE(started().serials, (QStringList{"", "", "SN3"}));
    }

    void aCameraThatHasMovedIsNotInTwoPlaces() {
        FakeCameras cameras(2);
        QCOMPARE(cameras.start(1), QString());
        QCOMPARE(cameras.writeConfiguration(folder_->path()), QString());
        write(QStringLiteral("{\"cameras\": {\"%1\": \"FAKE0002\", \"%2\": \"FAKE0001\"}}")
                  .arg(cameras.address(0), cameras.address(1))
                  .toUtf8());
        const Start first = started();
        QCOMPARE(first.serials[1], QStringLiteral("FAKE0002"));
        QVERIFY2(first.log.contains("camera 1 (FAKE0001): now it is another camera, with the serial number "
                                    "FAKE0002"),
                 qPrintable(first.log));
        QCOMPARE(started().serials, (QStringList{"", "FAKE0002"}));
    }

    void twoOfOneNumberStayApart() {
        FakeCameras cameras(2, {"--serial", "SAME0001", "--features", "all,-userset"});
        QCOMPARE(cameras.start(), QString());
        QCOMPARE(cameras.writeConfiguration(folder_->path()), QString());
        const QStringList both{"SAME0001", "SAME00~2"};
        QCOMPARE(started("start and save").serials, both);
        QCOMPARE(QDir(folder_->path()).entryList({"kvcap2-genicam-SAME*.json"}).size(), 2);
        cameras.kill(0);
        QCOMPARE(started().serials, both);
    }

    void findsTwoOfOneNumber() {
        if (!isNetworkPrivate())
            QSKIP("a search finds whatever is in this network");
        FakeCameras cameras(3, {"--serial", "SAME0001"});
        QCOMPARE(cameras.start(), QString());
        const Start first = started();
        QCOMPARE(first.serials, (QStringList{"SAME0001", "SAME00~2", "SAME00~3"}));
        QCOMPARE(first.log.count("has the serial number SAME0001, as another one has"), 2);
    }

    void opensByNames() {
        if (!isNetworkPrivate())
            QSKIP("a search finds whatever is in this network");
        FakeCameras cameras(3);
        cameras.setOptions(2, {"--serial", "BYNAME7"});
        QCOMPARE(cameras.start(), QString());
        // The first one is this host, by its name.
        write("[Library]\nAddresses=localhost, BYNAME7, no such device, " + cameras.address(1).toLatin1() +
                  '\n',
              QStringLiteral("kvcap2-genicam.ini"));
        const Start first = started();
        QCOMPARE(first.serials, (QStringList{"FAKE0001", "BYNAME7", "", "FAKE0002"}));
        QVERIFY2(first.log.contains("is not there (no host and no camera of this name)"),
                 qPrintable(first.log));
        // One search for all: at the start, and none at each try.
        QVERIFY2(first.elapsed < 4000, qPrintable(QString::number(first.elapsed)));
    }

    void saysWhatACameraCannotServe() {
        FakeCameras cameras(2, {"--width", "320", "--height", "240"});
        cameras.setOptions(0, {"--features", "all,-framerate,-offsets"});
        QCOMPARE(cameras.start(), QString());
        configure(cameras,
                  "[Camera]\nTriggerSource=Line9\nFrameRate=9000\nInLibrary=gamma,contrast,mirrors\n"
                  "Regions=160x120+16+8,64000x100,160x120\n[Camera1]\nTriggerSource=Line1\n");
        const QString log = started().log;
        QCOMPARE(log.count("has no trigger source Line9; "), 1);
        QCOMPARE(log.count("): its rate cannot be set, so FrameRate does nothing"), 1);
        QCOMPARE(log.count("): FrameRate is 9000.00, the camera reaches "), 1);
        QCOMPARE(log.count("does Gamma, MirrorX, MirrorY itself, so InLibrary does nothing about it"), 2);
        QCOMPARE(log.count("): no resolution mode for the region 160x120+16+8: OffsetX cannot be 16"), 1);
        QCOMPARE(log.count("the region 64000x100 becomes 320x100"), 2);
        QCOMPARE(log.count("the region "), 3);
    }

    void whatOthersPrintHasOurName_data() {
        QTest::addColumn<QByteArray>("description");
        QTest::newRow("no XML") << QByteArray("not xml <<<");
        QTest::newRow("torn") << QByteArray("<RegisterDescription><Group><Integer Name=");
        QTest::newRow("empty") << QByteArray(" ");
        QTest::newRow("something else") << QByteArray("<html><body/></html>");
    }
    void whatOthersPrintHasOurName() {
        QFETCH(QByteArray, description);
        FakeCameras cameras(2);
        write(description, QStringLiteral("description.xml"));
        cameras.setOptions(0, {"--xml-file", folder_->filePath("description.xml")});
        QCOMPARE(cameras.start(), QString());
        QCOMPARE(cameras.writeConfiguration(folder_->path()), QString());
        const Start first = started();
        QCOMPARE(first.serials.value(1), QStringLiteral("FAKE0002"));
        QCOMPARE(first.errors, QString());
        QCOMPARE(first.log.count("camera 0 (" + cameras.address(0) + ") cannot be used") +
                     first.log.count("camera 0 (FAKE0001) cannot be used"),
                 1);
        const QStringList lines = first.log.split('\n').filter("Aravis says: ");
        // Newer ones pass over what is no XML at all without a word.
        if (lines.isEmpty() && QByteArray(QTest::currentDataTag()) != "something else")
            QSKIP("This Aravis says nothing of it");
        QVERIFY2(!lines.isEmpty(), qPrintable(first.log));
        QCOMPARE(QStringList(lines).removeDuplicates(), 0);
        QCOMPARE(lines.filter("KVCap2: camera 0: Aravis says: ").size(), lines.size());
    }

private:
    Start started(const char* how = "start") {
        QProcess process;
        process.setWorkingDirectory(folder_->path());
        process.start(QCoreApplication::applicationFilePath(), {how});
        if (!process.waitForFinished(kLimit))
            return {};
        const QJsonObject result = QJsonDocument::fromJson(process.readAllStandardOutput()).object();
        Start start;
        for (const QJsonValue& serial : result["serials"].toArray())
            start.serials.append(serial.toString());
        start.elapsed = result["elapsed"].toInt();
        start.log = result["log"].toString();
        start.errors = QString::fromLocal8Bit(process.readAllStandardError());
        return start;
    }
    void write(const QByteArray& content, const QString& name = QLatin1String(kFile)) {
        QFile file(folder_->filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) == content.size());
    }
    void configure(const FakeCameras& cameras, const QByteArray& more) {
        write(cameras.configuration() + '\n' + more, QStringLiteral("kvcap2-genicam.ini"));
    }

    std::unique_ptr<QTemporaryDir> folder_;
};

int main(int argc, char** argv) {
    if (argc == 2 && QByteArray(argv[1]).startsWith("start")) {
        QCoreApplication application(argc, argv);
        return start(QByteArray(argv[1]) == "start and save");
    }
    enterPrivateNetwork();
    QCoreApplication application(argc, argv);
    GenicamIdentityTest test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_genicamidentity.moc"
