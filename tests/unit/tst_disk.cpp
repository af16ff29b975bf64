// SPDX-License-Identifier: Apache-2.0
#include <QImage>
#include <QProcess>
#include <QtTest>

#include "control/picturefile.h"
#include "platform/files.h"
#include "support/diskcalls.h"
#include "support/fulldisk.h"
#include "support/workingfolder.h"

/// What saving asks of the disk, and what becomes of it when the disk is full.
class TestDisk : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();
    void textIsWaitedFor();
    void pictureIsNotWaitedFor();
    void noDescriptorStays();
    void slowDiskKeepsFewFilesOpen();
    void diskThatFailsAtTheEnd();
    void interruptedWaitGoesOn();
    void grownTooLargeLeavesNothing_data();
    void grownTooLargeLeavesNothing();
    void fullDiskLeavesNothing();

private:
    static QStringList everything() {
        return QDir().entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
    static void onTheFullDisk();
};

namespace {

const char kSmallDisk[] = "BIVISTA_TEST_SMALL_DISK";

/// Noise: no encoder makes it small.
QImage noise(int side) {
    QImage image(side, side, QImage::Format_RGB32);
    quint32 state = 1;
    for (int y = 0; y < side; ++y) {
        for (int x = 0; x < side; ++x)
            image.setPixel(x, y, 0xff000000U | (state = state * 1664525U + 1013904223U) >> 8);
    }
    return image;
}

void waitForSyncs() {
    QVERIFY(QTest::qWaitFor([] { return platform::syncsUnderWay() == 0; }, 10000));
}

void ignoreFailure() {
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
}

}  // namespace

void TestDisk::init() {
    waitForSyncs();
    diskcalls::takeSyncs();
}

void TestDisk::cleanup() {
    waitForSyncs();
}

/// What the next start needs: the file first, under the name that it has until it is whole, then its new
/// name.
void TestDisk::textIsWaitedFor() {
    const WorkingFolder folder;
    QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), "content"), QString());
    const auto syncs = diskcalls::takeSyncs();
    QCOMPARE(syncs.size(), 2);
    QVERIFY2(syncs[0].path.contains(QStringLiteral("/.bivista-")), qPrintable(syncs[0].path));
    QCOMPARE(syncs[1].path, QDir().canonicalPath());
    QVERIFY(syncs[0].isInMainThread && syncs[1].isInMainThread);
}

void TestDisk::pictureIsNotWaitedFor() {
    const WorkingFolder folder;
    {
        const diskcalls::SlowDisk slow;
        QCOMPARE(writePicture(noise(20), QStringLiteral("./a.png"), 75), QString());
        QCOMPARE(QImage(QStringLiteral("a.png")), noise(20));
    }
    waitForSyncs();
    const auto syncs = diskcalls::takeSyncs();
    QCOMPARE(syncs.size(), 1);
    QVERIFY(!syncs[0].isInMainThread);
}

void TestDisk::noDescriptorStays() {
    const WorkingFolder folder;
    const auto save = [](int times) {
        for (int i = 0; i < times; ++i) {
            QCOMPARE(writePicture(noise(20), QStringLiteral("./a.png"), 75), QString());
            QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), "content"), QString());
            ignoreFailure();
            QVERIFY(!writePicture({}, QStringLiteral("./a.png"), 75).isEmpty());
        }
        waitForSyncs();
    };
    save(1);  // libraries and threads open what they need
    const int before = diskcalls::openDescriptors();
    save(5);
    QCOMPARE(diskcalls::openDescriptors(), before);
}

/// Pictures come faster than the disk takes them.
void TestDisk::slowDiskKeepsFewFilesOpen() {
    const WorkingFolder folder;
    const QString here = QDir().canonicalPath();
    {
        const diskcalls::SlowDisk slow;
        for (int i = 0; i < 50; ++i)
            QCOMPARE(writePicture(noise(20), QStringLiteral("./%1.png").arg(i), 75), QString());
        const int open = diskcalls::openDescriptors(here);
        QVERIFY(open >= 1 && open <= 4);
    }
    waitForSyncs();
    QCOMPARE(everything().size(), 50);
    QCOMPARE(diskcalls::openDescriptors(here), 0);
}

void TestDisk::diskThatFailsAtTheEnd() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.txt"), "old"));
    {
        const diskcalls::BrokenDisk broken(EIO);
        ignoreFailure();
        QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), "new"), QStringLiteral("Input/output error"));
        QVERIFY(!platform::syncFolder(QStringLiteral(".")).isEmpty());
    }
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.txt")), QByteArray("old"));
    QCOMPARE(everything(), QStringList{QStringLiteral("a.txt")});
    // There are disks that know no such thing: all that can be done has been done.
    const diskcalls::BrokenDisk without(EINVAL);
    QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), "new"), QString());
    QCOMPARE(platform::syncFolder(QStringLiteral(".")), QString());
}

/// Waited for again, neither taken for done nor for a failure.
void TestDisk::interruptedWaitGoesOn() {
    const WorkingFolder folder;
    diskcalls::interruptSyncs(3);
    QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), "new"), QString());
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.txt")), QByteArray("new"));
    QCOMPARE(diskcalls::takeSyncs().size(), 3 + 2);  // the file's and the folder's
}

void TestDisk::grownTooLargeLeavesNothing_data() {
    QTest::addColumn<QString>("suffix");
    for (const char* suffix : {"png", "jpg", "bmp", "txt"})
        QTest::newRow(suffix) << QString::fromLatin1(suffix);
}

void TestDisk::grownTooLargeLeavesNothing() {
    QFETCH(QString, suffix);
    const WorkingFolder folder;
    const QString name = QStringLiteral("./a.") + suffix;
    QVERIFY(WorkingFolder::write(name, "old"));
    const QImage picture = noise(200);
    for (const int bytes : {0, 50, 20000}) {
        const FullDisk full{rlim_t(bytes)};
        QTest::ignoreMessage(QtWarningMsg,
                             QRegularExpression(QStringLiteral("was not written: File too large")));
        if (suffix == QStringLiteral("txt"))
            QCOMPARE(platform::replaceFile(name, QByteArray(50000, 'x')), QStringLiteral("File too large"));
        else
            QCOMPARE(writePicture(picture, name, 75), QStringLiteral("File too large"));
        QCOMPARE(everything(), QStringList{name.mid(2)});
    }
    QCOMPARE(WorkingFolder::read(name), QByteArray("old"));
}

/// On a real one: this program once more, in a name space where a disk of its own can be made.
void TestDisk::fullDiskLeavesNothing() {
    if (qEnvironmentVariableIsSet(kSmallDisk)) {
        onTheFullDisk();
        return;
    }
    const WorkingFolder folder;
    const QStringList space{QStringLiteral("--user"), QStringLiteral("--map-root-user"),
                            QStringLiteral("--mount"), QStringLiteral("sh"), QStringLiteral("-c")};
    const QString mount = QStringLiteral("mount -t tmpfs -o size=256k none \"$PWD\" && cd \"$PWD\"");
    if (QProcess::execute(QStringLiteral("unshare"), space + QStringList{mount}) != 0)
        QSKIP("no disk can be made here");
    QProcess again;
    auto environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QString::fromLatin1(kSmallDisk), QStringLiteral("1"));
    again.setProcessEnvironment(environment);
    again.setProcessChannelMode(QProcess::MergedChannels);
    again.start(QStringLiteral("unshare"),
                space + QStringList{mount + QStringLiteral(" && exec \"$0\" fullDiskLeavesNothing"),
                                    QCoreApplication::applicationFilePath()});
    QVERIFY(again.waitForFinished(60000));
    const QByteArray output = again.readAll();
    QVERIFY2(again.exitStatus() == QProcess::NormalExit && again.exitCode() == 0, output.constData());
}

void TestDisk::onTheFullDisk() {
    const QString filler = QStringLiteral("filler");
    QFile old(QStringLiteral("a.txt"));
    QVERIFY(old.open(QIODevice::WriteOnly) && old.write("old") == 3);
    old.close();
    QFile full(filler);
    QVERIFY(full.open(QIODevice::WriteOnly | QIODevice::Unbuffered));
    const qint64 room = 20 * 1024;
    while (QStorageInfo(QStringLiteral(".")).bytesAvailable() > room)
        QVERIFY(full.write(QByteArray(4096, 'x')) == 4096);
    const QImage picture = noise(200);
    const QStringList files{QStringLiteral("a.txt"), filler};
    for (int time = 0; time < 4; ++time) {
        for (const char* suffix : {"png", "jpg", "bmp"}) {
            QTest::ignoreMessage(
                QtWarningMsg, QRegularExpression(QStringLiteral("was not written: No space left on device")));
            QVERIFY(!writePicture(picture, QStringLiteral("./p.") + QLatin1String(suffix), 95).isEmpty());
            QCOMPARE(everything(), files);
        }
        ignoreFailure();
        QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), QByteArray(50000, 'x')),
                 QStringLiteral("No space left on device"));
        QCOMPARE(everything(), files);
        QCOMPARE(WorkingFolder::read(QStringLiteral("a.txt")), QByteArray("old"));
    }
    // All of the room is there again.
    QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), QByteArray(12000, 'x')), QString());
    // Not one byte is left.
    while (full.write(QByteArray(1024, 'x')) > 0) {
    }
    ignoreFailure();
    QCOMPARE(platform::replaceFile(QStringLiteral("b.txt"), QByteArray(10, 'x')),
             QStringLiteral("No space left on device"));
    QCOMPARE(everything(), files);
}

QTEST_GUILESS_MAIN(TestDisk)
#include "tst_disk.moc"
