// SPDX-License-Identifier: Apache-2.0
#include <QFileInfo>
#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

#include <limits>

#include "camerafeatures.h"
#include "parameterslots.h"
#include "playedcamera.h"
#include "support/fulldisk.h"
#include "support/workingfolder.h"

using namespace kvgen;

namespace {

constexpr char kSerial[] = "KV/7 x";
constexpr char kFile[] = "kvcap2-genicam-KV%2F7%20x.json";

Description plain() {
    return Description().real("ExposureTime", {"20", "2000000", "us"}).real("Gain", {"0", "24", "dB"});
}

Description withUserSets() {
    return plain()
        .enumeration("UserSetSelector", {"Default", "UserSet1"})
        .command("UserSetLoad")
        .command("UserSetSave");
}

ParameterValues someValues() {
    ParameterValues values;
    values[Parameter::Gamma] = 1.57;
    values[Parameter::Exposure] = 1234;
    values[Parameter::Gain] = 32;
    values[Parameter::MirrorX] = 1;
    values[Parameter::Delay] = 100;
    values.timeout = 2500;
    values.resolution = 1;
    return values;
}

/// A camera without features asked for, in a folder of its own.
struct Bench {
    explicit Bench(const Description& description) : camera(description), features(camera.camera(), {}) {}
    WorkingFolder folder;
    PlayedCamera camera;
    CameraFeatures features;
};

}  // namespace

/// The parameter slots, in the camera's memory and in a file.
class TestParameterSlots : public QObject {
    Q_OBJECT

private slots:
    void jsonThereAndBack() {
        ParameterValues all;
        for (const Mapping& mapping : mappings())
            all[mapping.parameter] = 1;
        all[Parameter::Gamma] = 0.57;
        all.timeout = 0;
        all.resolution = 3;
        const QJsonObject object = toJson(all);
        QCOMPARE(object.size(), kParameters + 2);
        QVERIFY(object.value(QStringLiteral("AGC")).isBool());
        QVERIFY(object.value(QStringLiteral("Gain")).isDouble());
        QVERIFY(fromJson(object) == all);
        QVERIFY(fromJson(toJson(someValues())) == someValues());
        QVERIFY(fromJson({}) == ParameterValues());
        QVERIFY(toJson({}).isEmpty());
    }

    void nonsenseInJson() {
        const QJsonObject object{
            {QStringLiteral("Gamma"), QStringLiteral("1")},
            {QStringLiteral("Gain"), true},
            {QStringLiteral("MirrorX"), 1},
            {QStringLiteral("Exposure"), QJsonArray{1}},
            {QStringLiteral("SnapMode"), 7},
            {QStringLiteral("AntiFlicker"), 1.5},
            {QStringLiteral("Timeout"), -1},
            {QStringLiteral("Resolution"), 2147483648.0},
            {QStringLiteral("Delay"), QJsonValue::Null},
        };
        QVERIFY(fromJson(object) == ParameterValues());
        // A number out of its range is brought into it.
        QCOMPARE(fromJson({{QStringLiteral("BlackLevel"), 1e300}})[Parameter::BlackLevel].value_or(-1),
                 255.0);
    }

    void mergeKeepsTheRest() {
        ParameterValues values = someValues();
        ParameterValues other;
        other[Parameter::Gain] = 99;
        other.timeout = 500;
        values.merge(other);
        ParameterValues expected = someValues();
        expected[Parameter::Gain] = 99;
        expected.timeout = 500;
        QVERIFY(values == expected);
    }

    void aModeIsFoundAgainByItsSize() {
        const QVector<QSize> sizes{{640, 480}, {320, 240}, {200, 100}};
        ParameterValues values;
        QCOMPARE(resolutionOf(values, sizes).value_or(-1), -1);
        values.resolution = 1;
        QCOMPARE(resolutionOf(values, sizes).value_or(-1), 1);
        values.resolution = 7;
        QCOMPARE(resolutionOf(values, sizes).value_or(-1), -1);
        values.resolutionSize = {200, 100};
        QCOMPARE(resolutionOf(values, sizes).value_or(-1), 2);
        values.resolution = 1;
        QCOMPARE(resolutionOf(values, sizes).value_or(-1), 2);
        values.resolutionSize = {201, 100};
        QCOMPARE(resolutionOf(values, sizes).value_or(-1), -1);
        // Two modes of one size: the number tells.
        values.resolutionSize = {640, 480};
        QCOMPARE(resolutionOf(values, {{640, 480}, {640, 480}}).value_or(-1), 1);
    }

    void theSizeIsKeptBesideTheMode() {
        ParameterValues values = someValues();
        values.resolutionSize = {320, 240};
        QVERIFY(fromJson(toJson(values)) == values);
        QVERIFY(!(fromJson(toJson(values)) == someValues()));
        // What was merged over it has a mode of its own.
        values.merge(someValues());
        QVERIFY(values == someValues());
        QJsonObject object = toJson(someValues());
        object.insert(QStringLiteral("ResolutionWidth"), -5);
        object.insert(QStringLiteral("ResolutionHeight"), 240);
        QVERIFY(fromJson(object) == someValues());
    }

    void whatTheCamerasSetDoesNotHoldIsLeftToSet() {
        Bench bench(withUserSets());
        QCOMPARE(bench.features.write(Parameter::Exposure, 1234), Status::Ok);
        QCOMPARE(bench.features.write(Parameter::Gain, 32), Status::Ok);
        QCOMPARE(saveSlot(bench.features, kSerial, 0, someValues()), Status::Ok);
        QCOMPARE(bench.features.write(Parameter::Gain, 99), Status::Ok);
        LoadedSlot loaded;
        QCOMPARE(loadSlot(bench.features, kSerial, 0, {}, loaded), Status::Ok);
        QVERIFY(loaded.isFromCamera);
        ParameterValues expected = someValues();
        expected[Parameter::Exposure].reset();
        QVERIFY(loaded.values == expected);
        // A slot that we have never written is the camera's alone.
        QVERIFY(QFile::remove(QLatin1String(kFile)));
        QCOMPARE(loadSlot(bench.features, kSerial, 0, someValues(), loaded), Status::Ok);
        QVERIFY(!loaded.values[Parameter::Gain]);
    }

    void fileNames() {
        QCOMPARE(slotsFile(kSerial), QString::fromLatin1(kFile));
        QCOMPARE(slotsFile("KV2500000001"), QStringLiteral("kvcap2-genicam-KV2500000001.json"));
        for (const QByteArray& serial :
             {QByteArray("../../x"), QByteArray("C:\\x"), QByteArray("a\0b", 3), QByteArray("\xff\n~.")}) {
            QCOMPARE(QFileInfo(slotsFile(serial)).fileName(), slotsFile(serial));
            QVERIFY(!slotsFile(serial).contains(QLatin1Char('\\')));
            QCOMPARE(slotsFile(serial).count(QLatin1Char('.')), 1);
        }
        QVERIFY(slotsFile("a") != slotsFile("A"));
    }

    void thereAndBackByFile() {
        Bench bench(plain());
        QCOMPARE(saveSlot(bench.features, kSerial, 0, someValues()), Status::Ok);
        ParameterValues others = someValues();
        others[Parameter::Gain] = 200;
        QCOMPARE(saveSlot(bench.features, kSerial, 3, others), Status::Ok);
        QVERIFY(QFileInfo(QLatin1String(kFile)).isFile());

        LoadedSlot loaded;
        QCOMPARE(loadSlot(bench.features, kSerial, 0, {}, loaded), Status::Ok);
        QVERIFY(loaded.values == someValues());
        QVERIFY(!loaded.isFromCamera);
        QCOMPARE(loadSlot(bench.features, kSerial, 3, {}, loaded), Status::Ok);
        QVERIFY(loaded.values == others);
        // Another camera has slots of its own.
        QCOMPARE(loadSlot(bench.features, "other", 0, {}, loaded), Status::Ok);
        QVERIFY(loaded.values == ParameterValues());
    }

    void aSlotNeverWrittenHoldsWhatTheCameraHad() {
        Bench bench(plain());
        LoadedSlot loaded;
        QCOMPARE(loadSlot(bench.features, kSerial, 0, someValues(), loaded), Status::Ok);
        QVERIFY(loaded.values == someValues());
        QVERIFY(!QFileInfo::exists(QLatin1String(kFile)));
        // And so does a value that the slot lacks.
        ParameterValues few;
        few[Parameter::Gain] = 20;
        QCOMPARE(saveSlot(bench.features, kSerial, 0, few), Status::Ok);
        QCOMPARE(loadSlot(bench.features, kSerial, 0, someValues(), loaded), Status::Ok);
        ParameterValues expected = someValues();
        expected[Parameter::Gain] = 20;
        QVERIFY(loaded.values == expected);
    }

    void slotsThatDoNotExist() {
        Bench bench(withUserSets());
        LoadedSlot loaded;
        for (const int slot : {-1, 4, 2147483647}) {
            QCOMPARE(saveSlot(bench.features, kSerial, slot, someValues()), Status::BadArgument);
            QCOMPARE(loadSlot(bench.features, kSerial, slot, {}, loaded), Status::BadArgument);
        }
        QVERIFY(!QFileInfo::exists(QLatin1String(kFile)));
        QVERIFY(!bench.camera.takeCommand("UserSetSave"));
    }

    void theCameraKeepsWhatItCan() {
        Bench bench(withUserSets());
        QCOMPARE(bench.features.write(Parameter::Exposure, 1234), Status::Ok);
        QCOMPARE(bench.features.write(Parameter::Gain, 32), Status::Ok);
        QCOMPARE(saveSlot(bench.features, kSerial, 0, someValues()), Status::Ok);
        QVERIFY(bench.camera.takeCommand("UserSetSave"));
        LoadedSlot loaded;
        QCOMPARE(loadSlot(bench.features, kSerial, 0, {}, loaded), Status::Ok);
        QVERIFY(bench.camera.takeCommand("UserSetLoad"));
        QVERIFY(loaded.isFromCamera);
        // What the camera has loaded itself must not be written over; what it lacks is the library's.
        ParameterValues expected = someValues();
        expected[Parameter::Exposure].reset();
        expected[Parameter::Gain].reset();
        QVERIFY(loaded.values == expected);
    }

    void aRoundedExposureIsNotTheWantedOne() {
        Bench bench(withUserSets());
        ParameterValues values = someValues();
        values[Parameter::AntiFlicker] = 1;
        QCOMPARE(saveSlot(bench.features, kSerial, 0, values), Status::Ok);
        LoadedSlot loaded;
        QCOMPARE(loadSlot(bench.features, kSerial, 0, {}, loaded), Status::Ok);
        QCOMPARE(loaded.values[Parameter::Exposure].value_or(0), 1234.0);
    }

    void aSlotBeyondTheCamerasIsInTheFile() {
        Bench bench(withUserSets());
        QCOMPARE(saveSlot(bench.features, kSerial, 1, someValues()), Status::Ok);
        QVERIFY(!bench.camera.takeCommand("UserSetSave"));
        LoadedSlot loaded;
        QCOMPARE(loadSlot(bench.features, kSerial, 1, {}, loaded), Status::Ok);
        QVERIFY(!loaded.isFromCamera);
        QVERIFY(loaded.values == someValues());
    }

    void aSlotThatIsOnlyInTheFileIsNotLookedForInTheCamera() {
        {
            Bench bench(plain());
            QCOMPARE(saveSlot(bench.features, kSerial, 0, someValues()), Status::Ok);
            content_ = WorkingFolder::read(QLatin1String(kFile));
        }
        Bench bench(withUserSets());
        QVERIFY(WorkingFolder::write(QLatin1String(kFile), content_));
        LoadedSlot loaded;
        QCOMPARE(loadSlot(bench.features, kSerial, 0, {}, loaded), Status::Ok);
        QVERIFY(!bench.camera.takeCommand("UserSetLoad"));
        QVERIFY(loaded.values == someValues());
    }

    void aSlotOfTheCameraThatWeNeverWroteIsTheCameras() {
        Bench bench(withUserSets());
        LoadedSlot loaded;
        QCOMPARE(loadSlot(bench.features, kSerial, 0, someValues(), loaded), Status::Ok);
        QVERIFY(bench.camera.takeCommand("UserSetLoad"));
        QVERIFY(loaded.isFromCamera);
        QCOMPARE(loaded.values.timeout.value_or(0), 2500);
    }

    void aTornFile_data() {
        QTest::addColumn<QByteArray>("content");
        QTest::newRow("torn") << QByteArray("{ \"0\": { \"values\": {\"Gain\": 2");
        QTest::newRow("empty") << QByteArray();
        QTest::newRow("a list") << QByteArray("[1, 2]");
        QTest::newRow("bytes") << QByteArray("\x00\xff\xfe{}", 5);
        QTest::newRow("too large") << QByteArray(2 * 1024 * 1024, ' ') + "{}";
    }
    void aTornFile() {
        QFETCH(QByteArray, content);
        Bench bench(withUserSets());
        QVERIFY(WorkingFolder::write(QLatin1String(kFile), content));
        LoadedSlot loaded;
        loaded.values.timeout = 7;
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("^KVCap2: camera .*cannot be read")));
        QCOMPARE(loadSlot(bench.features, kSerial, 0, someValues(), loaded), Status::StorageFailure);
        QCOMPARE(loaded.values.timeout.value_or(0), 7);
        QVERIFY(!bench.camera.takeCommand("UserSetLoad"));
        QCOMPARE(saveSlot(bench.features, kSerial, 1, someValues()), Status::Ok);
        QCOMPARE(loadSlot(bench.features, kSerial, 1, {}, loaded), Status::Ok);
        QVERIFY(loaded.values == someValues());
    }

    void foreignContentIsMet() {
        Bench bench(plain());
        LoadedSlot loaded;
        for (const char* content : {"{\"0\": 1}", "{\"0\": {\"values\": [1]}}", "{\"0\": {\"inCamera\": 5}}",
                                    "{\"0\": {\"values\": {\"Gain\": \"x\"}}}"}) {
            QVERIFY(WorkingFolder::write(QLatin1String(kFile), content));
            QCOMPARE(loadSlot(bench.features, kSerial, 0, someValues(), loaded), Status::Ok);
            QVERIFY(loaded.values == someValues());
        }
    }

    void aFolderInTheFilesPlace() {
        Bench bench(plain());
        QVERIFY(QDir().mkpath(QLatin1String(kFile) + QStringLiteral("/x")));
        LoadedSlot loaded;
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be read")));
        QCOMPARE(loadSlot(bench.features, kSerial, 0, {}, loaded), Status::StorageFailure);
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be written")));
        QCOMPARE(saveSlot(bench.features, kSerial, 0, {}), Status::StorageFailure);
    }

    void aReadOnlyFolder() {
        Bench bench(plain());
        QFile::setPermissions(bench.folder.path(), QFile::ReadOwner | QFile::ExeOwner);
        // Permissions do not count for some users; nobody writes there.
        if (WorkingFolder::write(QStringLiteral("probe"), "x") && !QDir::setCurrent(QStringLiteral("/proc")))
            QSKIP("there is no folder that this user may not write to");
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be written")));
        QCOMPARE(saveSlot(bench.features, kSerial, 0, someValues()), Status::StorageFailure);
        QFile::setPermissions(bench.folder.path(), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
        QDir::setCurrent(bench.folder.path());
        QCOMPARE(saveSlot(bench.features, kSerial, 0, someValues()), Status::Ok);
    }

#ifdef HAS_FULL_DISK
    void aFullDiskLeavesTheOldFile() {
        Bench bench(plain());
        QCOMPARE(saveSlot(bench.features, kSerial, 0, someValues()), Status::Ok);
        const QByteArray before = WorkingFolder::read(QLatin1String(kFile));
        {
            const FullDisk disk(64);
            ParameterValues others = someValues();
            others[Parameter::Gain] = 1;
            QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("cannot be written")));
            QCOMPARE(saveSlot(bench.features, kSerial, 0, others), Status::StorageFailure);
        }
        QCOMPARE(WorkingFolder::read(QLatin1String(kFile)), before);
        QCOMPARE(QDir().entryList(QDir::Files).size(), 1);
    }
#endif

private:
    QByteArray content_;
};

QTEST_GUILESS_MAIN(TestParameterSlots)
#include "tst_parameterslots.moc"
