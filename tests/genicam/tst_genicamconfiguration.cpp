// SPDX-License-Identifier: Apache-2.0
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QtTest>

#include "configuration.h"
#include "support/workingfolder.h"

using namespace kvgen;

namespace {

constexpr char kFile[] = "kvcap2-genicam.ini";

/// What a run writes to the log.
class Log {
public:
    Log() : before_(qInstallMessageHandler(keep)) { lines().clear(); }
    ~Log() { qInstallMessageHandler(before_); }
    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    static QStringList& lines() {
        static QStringList all;
        return all;
    }

private:
    static void keep(QtMsgType, const QMessageLogContext&, const QString& text) { lines().append(text); }
    QtMessageHandler before_;
};

bool isDefault(const CameraConfiguration& camera) {
    const CameraConfiguration standard;
    return !camera.packetSize && !camera.packetDelay && camera.socketBuffer == standard.socketBuffer &&
           !camera.frameRate && camera.pixelFormat.isEmpty() && camera.triggerSource == "Software" &&
           camera.regions.isEmpty() && camera.exposureUnit == 10 && !camera.inLibrary.gamma &&
           !camera.inLibrary.contrast && !camera.inLibrary.saturation && !camera.inLibrary.blackLevel &&
           !camera.inLibrary.mirrors;
}

bool isDefault(const Configuration& configuration) {
    return configuration.addresses.isEmpty() && configuration.answerWithin == 100 &&
           configuration.cameras.size() == 8 && isDefault(configuration.all) &&
           std::all_of(configuration.cameras.begin(), configuration.cameras.end(),
                       [](const CameraConfiguration& camera) { return isDefault(camera); });
}

}  // namespace

/// The file kvcap2-genicam.ini, whatever is in it.
class TestConfiguration : public QObject {
    Q_OBJECT

private slots:
    void init() { folder_ = std::make_unique<WorkingFolder>(); }
    void cleanup() { folder_.reset(); }

    void withoutAFileTheDefaultsSilently() {
        const Log log;
        QVERIFY(isDefault(readConfiguration(QLatin1String(kFile))));
        QCOMPARE(Log::lines(), QStringList());
    }

    void everyKey() {
        QVERIFY(WorkingFolder::write(QLatin1String(kFile),
                                     "[Library]\n"
                                     "Addresses=10.0.0.11, 10.0.0.12,\n"
                                     "AnswerWithin=250\n"
                                     "[Camera]\n"
                                     "PacketSize=8192\n"
                                     "PacketDelay=5000\n"
                                     "SocketBuffer=16777216\n"
                                     "FrameRate=29.97\n"
                                     "PixelFormat=BayerRG8\n"
                                     "TriggerSource=Line1\n"
                                     "Regions=1280x1024+100+50,640x480\n"
                                     "ExposureUnit=1\n"
                                     "InLibrary=gamma, Contrast,saturation,BlackLevel,mirrors\n"
                                     "[Camera3]\n"
                                     "PacketSize=1500\n"
                                     "InLibrary=\n"
                                     "Regions=\"320x240\"\n"));
        const Log log;
        const Configuration configuration = readConfiguration(QLatin1String(kFile));
        QCOMPARE(Log::lines(), QStringList());
        QCOMPARE(configuration.addresses,
                 (QStringList{QStringLiteral("10.0.0.11"), QStringLiteral("10.0.0.12")}));
        QCOMPARE(configuration.answerWithin, 250);
        const CameraConfiguration& first = configuration.of(0);
        QCOMPARE(first.packetSize.value_or(0), 8192);
        QCOMPARE(first.packetDelay.value_or(0), int64_t(5000));
        QCOMPARE(first.socketBuffer, 16777216);
        QCOMPARE(first.frameRate.value_or(0), 29.97);
        QCOMPARE(first.pixelFormat, QByteArray("BayerRG8"));
        QCOMPARE(first.triggerSource, QByteArray("Line1"));
        QCOMPARE(first.regions, (QVector<QRect>{QRect(100, 50, 1280, 1024), QRect(-1, -1, 640, 480)}));
        QCOMPARE(first.exposureUnit, 1.0);
        QVERIFY(first.inLibrary.gamma && first.inLibrary.contrast && first.inLibrary.saturation &&
                first.inLibrary.blackLevel && first.inLibrary.mirrors);
        const CameraConfiguration& third = configuration.of(3);
        QCOMPARE(third.packetSize.value_or(0), 1500);
        QCOMPARE(third.packetDelay.value_or(0), int64_t(5000));
        QVERIFY(!third.inLibrary.gamma);
        QCOMPARE(third.regions, (QVector<QRect>{QRect(-1, -1, 320, 240)}));
        // Cameras beyond the sections have what is for all.
        QCOMPARE(configuration.of(9).packetSize.value_or(0), 8192);
        QCOMPARE(configuration.of(-1).packetSize.value_or(0), 8192);
    }

    void edges() {
        QVERIFY(WorkingFolder::write(QLatin1String(kFile),
                                     "[Library]\nAnswerWithin=10\n"
                                     "[Camera]\nPacketSize=16000\nPacketDelay=0\nSocketBuffer=268435456\n"
                                     "FrameRate=0.01\nExposureUnit=0.001\n"
                                     "[Camera7]\nPacketSize=576\nSocketBuffer=65536\n"
                                     "FrameRate=10000\nExposureUnit=1000000\n"));
        const Log log;
        const Configuration configuration = readConfiguration(QLatin1String(kFile));
        QCOMPARE(Log::lines(), QStringList());
        QCOMPARE(configuration.answerWithin, 10);
        QCOMPARE(configuration.all.packetSize.value_or(0), 16000);
        QCOMPARE(configuration.all.packetDelay.value_or(-1), int64_t(0));
        QCOMPARE(configuration.all.socketBuffer, 256 * 1024 * 1024);
        QCOMPARE(configuration.of(7).packetSize.value_or(0), 576);
        QCOMPARE(configuration.of(7).socketBuffer, 64 * 1024);
        QCOMPARE(configuration.all.frameRate.value_or(0), 0.01);
        QCOMPARE(configuration.all.exposureUnit, 0.001);
        QCOMPARE(configuration.of(7).frameRate.value_or(0), 10000.0);
        QCOMPARE(configuration.of(7).exposureUnit, 1e6);
    }

    void nonsenseTakesTheDefault_data() {
        QTest::addColumn<QByteArray>("section");
        QTest::addColumn<QByteArray>("key");
        QTest::addColumn<QByteArray>("value");
        const auto rows = [](const char* section, const char* key, const QByteArrayList& values) {
            for (const QByteArray& value : values)
                QTest::newRow(QByteArray(key) + '=' + value)
                    << QByteArray(section) << QByteArray(key) << value;
        };
        rows("Library", "AnswerWithin", {"9", "5001", "-1", "2147483648", "NaN", "1e2", "", "100 ms"});
        rows("Library", "Addresses", {"1,2,3,4,5,6,7,8,9", "10.0.0.1\\x1"});
        rows("Camera", "PacketSize", {"575", "16001", "-1", "2147483648", "9223372036854775808", "x"});
        rows("Camera", "PacketDelay", {"-1", "1000000001", "18446744073709551616", "nan"});
        rows("Camera", "SocketBuffer", {"65535", "268435457", "2147483648", "-2147483648", "8M"});
        rows("Camera", "FrameRate", {"0", "-1", "10001", "nan", "inf", "-inf", "1e400", "fast"});
        rows("Camera", "PixelFormat", {"", "Bayer RG8", "B\xC3\xA4yer", "Mono8/", QByteArray(65, 'M')});
        rows("Camera", "TriggerSource", {"", "Line 1", "Line1,Line2"});
        rows("Camera", "Regions",
             {"640", "640x", "x480", "0x480", "640x-480", "640x480+1", "640x480+1+2+3", "640x480-1-2",
              "65536x480", "2147483648x2147483648", "640x480+65536+0", "640x480,nonsense"});
        rows("Camera", "ExposureUnit", {"0", "-10", "nan", "inf", "1e7"});
        rows("Camera", "InLibrary", {"everything", "gamma,sharpness", "1"});
    }
    void nonsenseTakesTheDefault() {
        QFETCH(QByteArray, section);
        QFETCH(QByteArray, key);
        QFETCH(QByteArray, value);
        QVERIFY(WorkingFolder::write(QLatin1String(kFile), '[' + section + "]\n" + key + '=' + value + '\n'));
        const Log log;
        QVERIFY(isDefault(readConfiguration(QLatin1String(kFile))));
        QCOMPARE(Log::lines().size(), 1);
        QVERIFY2(Log::lines()[0].startsWith(QStringLiteral("KVCap2: ")) &&
                     Log::lines()[0].contains(QString::fromLatin1(section + '/' + key)) &&
                     Log::lines()[0].contains(QStringLiteral("makes no sense")),
                 qPrintable(Log::lines()[0]));
    }

    void addresses_data() {
        QTest::addColumn<QByteArray>("value");
        QTest::addColumn<QStringList>("taken");
        QTest::addColumn<QStringList>("lines");
        const QString broken = QStringLiteral("is no address and is left out");
        QTest::newRow("too great") << QByteArray("999.1.1.1, 10.0.0.2") << QStringList{"10.0.0.2"}
                                   << QStringList{"\"999.1.1.1\" " + broken};
        QTest::newRow("too few") << QByteArray("10.0.1") << QStringList{}
                                 << QStringList{"\"10.0.1\" " + broken};
        QTest::newRow("with a port") << QByteArray("10.0.0.1:3956") << QStringList{} << QStringList{broken};
        QTest::newRow("blanks") << QByteArray("10.0.0.1 10.0.0.2") << QStringList{}
                                << QStringList{"\"10.0.0.1 10.0.0.2\" " + broken};
        QTest::newRow("names") << QByteArray("camera7.local, Maker 2-Model 1.2 b-SN 3, cam7")
                               << QStringList{"camera7.local", "Maker 2-Model 1.2 b-SN 3", "cam7"}
                               << QStringList{};
        QTest::newRow("semicolon") << QByteArray("10.0.0.1; 10.0.0.2") << QStringList{"10.0.0.1"}
                                   << QStringList{"what follows the semicolon (10.0.0.2) is a comment"};
        QTest::newRow("comment") << QByteArray("10.0.0.1 ; left, 10.0") << QStringList{"10.0.0.1"}
                                 << QStringList{};
        QTest::newRow("twice") << QByteArray("10.0.0.1,Cam, 10.0.0.1,cam") << QStringList{"10.0.0.1", "Cam"}
                               << QStringList{"\"10.0.0.1\" is there twice", "\"cam\" is there twice"};
    }
    void addresses() {
        QFETCH(QByteArray, value);
        QFETCH(QStringList, taken);
        QFETCH(QStringList, lines);
        QVERIFY(WorkingFolder::write(QLatin1String(kFile), "[Library]\nAddresses=" + value + '\n'));
        const Log log;
        QCOMPARE(readConfiguration(QLatin1String(kFile)).addresses, taken);
        QCOMPARE(Log::lines().size(), lines.size());
        for (int i = 0; i < lines.size(); ++i)
            QVERIFY2(Log::lines()[i].contains(lines[i]), qPrintable(Log::lines()[i]));
    }

    void serials() {
        QVERIFY(WorkingFolder::write(QLatin1String(kFile),
                                     "[Library]\nAddresses=10.0.0.1,10.0.0.2,10.0.0.3\n"
                                     "[Camera0]\nSerial=KV25\n[Camera1]\nSerial=\"A;b,c\\\\\"\n"
                                     "[Camera2]\nSerial=two words\n"));
        const Log log;
        const Configuration configuration = readConfiguration(QLatin1String(kFile));
        QCOMPARE(configuration.of(0).serial, QByteArray("KV25"));
        QCOMPARE(configuration.of(1).serial, QByteArray("A;b,c\\"));
        QCOMPARE(configuration.of(2).serial, QByteArray());
        QCOMPARE(Log::lines().size(), 1);
        QVERIFY(Log::lines()[0].contains(QStringLiteral("Camera2/Serial")));
    }

    void serialsNeedAddresses() {
        QVERIFY(WorkingFolder::write(QLatin1String(kFile), "[Camera0]\nSerial=KV25\n"));
        const Log log;
        QCOMPARE(readConfiguration(QLatin1String(kFile)).of(0).serial, QByteArray());
        QCOMPARE(Log::lines().size(), 1);
        QVERIFY(Log::lines()[0].contains(QStringLiteral("there are no Addresses")));
    }

    void theLineNamesTheValueInOneLine() {
        QVERIFY(WorkingFolder::write(QLatin1String(kFile),
                                     "[Camera]\nPixelFormat=\"a\\nb" + QByteArray(100000, 'c') + "\"\n"));
        const Log log;
        readConfiguration(QLatin1String(kFile));
        QCOMPARE(Log::lines().size(), 1);
        QVERIFY(Log::lines()[0].contains(QStringLiteral("\"a?bccc")));
        QVERIFY(!Log::lines()[0].contains(QLatin1Char('\n')));
        QVERIFY(Log::lines()[0].size() < 400);
    }

    void unknownKeysAreReported() {
        QVERIFY(WorkingFolder::write(
            QLatin1String(kFile),
            "PacketSizes=1500\n[Camera]\nPacketSizes=1500\n[Camera8]\nPacketSize=1500\n"));
        const Log log;
        QVERIFY(isDefault(readConfiguration(QLatin1String(kFile))));
        QCOMPARE(Log::lines().size(), 3);
        QCOMPARE(Log::lines().filter(QStringLiteral("unknown key")).size(), 3);
        QCOMPARE(Log::lines().filter(QStringLiteral("Camera8/PacketSize")).size(), 1);
    }

    void manyUnknownKeysAreCounted() {
        QByteArray content = "[Camera]\n";
        for (int i = 0; i < 5000; ++i)
            content += "k" + QByteArray::number(i) + "=1\n";
        QVERIFY(WorkingFolder::write(QLatin1String(kFile), content));
        const Log log;
        readConfiguration(QLatin1String(kFile));
        QCOMPARE(Log::lines().size(), 21);
        QVERIFY(Log::lines().last().contains(QStringLiteral("4980")));
    }

    void junk_data() {
        QTest::addColumn<QByteArray>("content");
        QByteArray binary;
        for (int i = 0; i < 60000; ++i)
            binary += static_cast<char>((i * 7919 + i / 256) & 0xFF);
        QTest::newRow("binary") << binary;
        QTest::newRow("zeros") << QByteArray(4096, '\0');
        QTest::newRow("signs") << QByteArray("]]]=[[[\n=\n==\n[\n[[]]\n%%%=%\n");
        QTest::newRow("variant") << QByteArray("[Camera]\nPacketSize=@Variant(\\xff\\xff\\xff\\x7f)\n");
        QTest::newRow("long line") << "[Camera]\nRegions=" + QByteArray(500000, ',') + '\n';
        QTest::newRow("too large") << QByteArray(2 * 1024 * 1024, 'x');
    }
    void junk() {
        QFETCH(QByteArray, content);
        QVERIFY(WorkingFolder::write(QLatin1String(kFile), content));
        const Log log;
        QVERIFY(isDefault(readConfiguration(QLatin1String(kFile))));
        QVERIFY(Log::lines().size() <= 32);
    }

    void aFolderInTheFilesPlace() {
        QVERIFY(QDir().mkdir(QLatin1String(kFile)));
        const Log log;
        QVERIFY(isDefault(readConfiguration(QLatin1String(kFile))));
        QCOMPARE(Log::lines().size(), 1);
    }

    void whichFile() {
        qunsetenv("KVCAP2_GENICAM_CONFIG");
        QCOMPARE(configurationFile(), QDir::current().filePath(QLatin1String(kFile)));
        QVERIFY(WorkingFolder::write(QStringLiteral("other.ini"), "[Library]\nAnswerWithin=77\n"));
        qputenv("KVCAP2_GENICAM_CONFIG", "other.ini");
        const Log log;
        QCOMPARE(readConfiguration(configurationFile()).answerWithin, 77);
        QCOMPARE(Log::lines(), QStringList());
        qputenv("KVCAP2_GENICAM_CONFIG", "missing.ini");
        QVERIFY(isDefault(readConfiguration(configurationFile())));
        QCOMPARE(Log::lines().size(), 1);
        qunsetenv("KVCAP2_GENICAM_CONFIG");
    }

private:
    std::unique_ptr<WorkingFolder> folder_;
};

QTEST_GUILESS_MAIN(TestConfiguration)
#include "tst_genicamconfiguration.moc"
