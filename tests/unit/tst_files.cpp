// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <stdexcept>

#include "platform/files.h"
#include "support/workingfolder.h"

/// Files that are replaced whole, and what is left behind.
class TestFiles : public QObject {
    Q_OBJECT

private slots:
    void contentIsReplaced_data();
    void contentIsReplaced();
    void failedWriterLeavesTheOldFile_data();
    void failedWriterLeavesTheOldFile();
    void thrownWriterLeavesNothing();
    void nowhereIsNoPlace();
    void folderThatIsNotThere();
    void workingFolderThatComesBack();
    void workingFolderThatIsMoved();
    void permissionsStay();
    void protectedFileStays();
    void linksAreWrittenThrough();
    void newFileTakesNoOthersPlace();
    void severalFilesByTheirSteps();
    void leftOversGo();
    void leftOversOfWhom_data();
    void leftOversOfWhom();
    void leftOversOfAFolderThatIsNotThere();

private:
    static QStringList everything(const QString& folder = QStringLiteral(".")) {
        return QDir(folder).entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }
    static bool makeOlder(const QString& name, int minutes) {
        QFile file(name);
        return file.open(QIODevice::ReadWrite) &&
               file.setFileTime(QDateTime::currentDateTime().addSecs(-60 * minutes),
                                QFileDevice::FileModificationTime);
    }
    static QString temporaryName() { return platform::temporaryNameFor(QStringLiteral("./any")); }
};

namespace {

platform::FileWriter writerOf(const QByteArray& content, const QString& problem = {}) {
    return [=](QIODevice& file) {
        file.write(content);
        return problem;
    };
}

void ignoreFailure() {
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("was not written: .+")));
}

}  // namespace

void TestFiles::contentIsReplaced_data() {
    QTest::addColumn<int>("disk");
    QTest::newRow("waiting") << int(platform::Disk::WaitForIt);
    QTest::newRow("not waiting") << int(platform::Disk::LetItFollow);
}

void TestFiles::contentIsReplaced() {
    QFETCH(int, disk);
    const WorkingFolder folder;
    for (const QByteArray& content : {QByteArray("one"), QByteArray(300000, 'x'), QByteArray()}) {
        QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), writerOf(content), platform::Disk(disk)),
                 QString());
        QCOMPARE(WorkingFolder::read(QStringLiteral("a.txt")), content);
        QCOMPARE(everything(), QStringList{QStringLiteral("a.txt")});
    }
}

void TestFiles::failedWriterLeavesTheOldFile_data() {
    contentIsReplaced_data();
}

void TestFiles::failedWriterLeavesTheOldFile() {
    QFETCH(int, disk);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.txt"), "old"));
    ignoreFailure();
    const QString problem = platform::replaceFile(
        QStringLiteral("a.txt"), writerOf(QByteArray(100000, 'x'), QStringLiteral("No such colour")),
        platform::Disk(disk));
    QCOMPARE(problem, QStringLiteral("No such colour"));
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.txt")), QByteArray("old"));
    QCOMPARE(everything(), QStringList{QStringLiteral("a.txt")});
}

void TestFiles::thrownWriterLeavesNothing() {
    const WorkingFolder folder;
    const auto thrower = [](QIODevice& file) -> QString {
        file.write("half");
        throw std::runtime_error("thrown");
    };
    QVERIFY_EXCEPTION_THROWN(platform::replaceFile(QStringLiteral("a.txt"), thrower), std::runtime_error);
    QCOMPARE(everything(), QStringList());
}

void TestFiles::nowhereIsNoPlace() {
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("a.txt")));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral("without a name")));
    QVERIFY(!platform::replaceFile(QString(), "x").isEmpty());
    ignoreFailure();
    QVERIFY(!platform::replaceFile(QStringLiteral("a.txt"), "x").isEmpty());
    QCOMPARE(everything(), QStringList{QStringLiteral("a.txt")});
    QVERIFY(QFileInfo(QStringLiteral("a.txt")).isDir());
}

void TestFiles::folderThatIsNotThere() {
    const WorkingFolder folder;
    ignoreFailure();
    QFile gone(QStringLiteral("gone/b.txt"));
    QVERIFY(!gone.open(QIODevice::WriteOnly));
    QCOMPARE(platform::replaceFile(QStringLiteral("gone/a.txt"), "x"), gone.errorString());
    QCOMPARE(everything(), QStringList());
}

/// A process stays in a folder that was removed: without going back to the new one of the name it could never
/// write there again.
void TestFiles::workingFolderThatComesBack() {
#ifdef Q_OS_UNIX
    const WorkingFolder folder;
    const QString station = folder.path() + QStringLiteral("/station");
    QVERIFY(QDir().mkdir(station) && QDir::setCurrent(station));
    const QString file = platform::workingFolderFile(QStringLiteral("a.txt"));
    QVERIFY(QDir().rmdir(station));
    ignoreFailure();
    QVERIFY(!platform::replaceFile(file, "x").isEmpty());
    QVERIFY(QDir().mkdir(station));
    for (int time = 0; time < 2; ++time)
        QCOMPARE(platform::replaceFile(file, "y"), QString());
    QCOMPARE(WorkingFolder::read(station + QStringLiteral("/a.txt")), QByteArray("y"));
#endif
}

/// One that has another name now is still the working folder, whoever has its old name.
void TestFiles::workingFolderThatIsMoved() {
#ifdef Q_OS_UNIX
    const WorkingFolder folder;
    const QString station = folder.path() + QStringLiteral("/station");
    QVERIFY(QDir().mkdir(station) && QDir::setCurrent(station));
    const QString file = platform::workingFolderFile(QStringLiteral("a.txt"));
    QVERIFY(QDir().rename(station, folder.path() + QStringLiteral("/moved")) && QDir().mkdir(station));
    QCOMPARE(platform::replaceFile(file, "x"), QString());
    QCOMPARE(WorkingFolder::read(folder.path() + QStringLiteral("/moved/a.txt")), QByteArray("x"));
#endif
}

void TestFiles::permissionsStay() {
#ifdef Q_OS_WIN
    QSKIP("no such permissions there");
#endif
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.txt"), "old"));
    QVERIFY(QFile::setPermissions(QStringLiteral("a.txt"), QFile::ReadOwner | QFile::WriteOwner));
    const QFile::Permissions before = QFile::permissions(QStringLiteral("a.txt"));
    QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), "new"), QString());
    QCOMPARE(QFile::permissions(QStringLiteral("a.txt")), before);
    // A new one is open to others as any program makes it, not as temporary files are.
    QVERIFY(WorkingFolder::write(QStringLiteral("any.txt"), "x"));
    QCOMPARE(platform::replaceFile(QStringLiteral("b.txt"), "new"), QString());
    QCOMPARE(QFile::permissions(QStringLiteral("b.txt")), QFile::permissions(QStringLiteral("any.txt")));
}

void TestFiles::protectedFileStays() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.txt"), "old"));
    QVERIFY(QFile::setPermissions(QStringLiteral("a.txt"), QFile::ReadOwner));
    if (QFileInfo(QStringLiteral("a.txt")).isWritable())
        QSKIP("root may write to any file");
    ignoreFailure();
    QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), "new"), QStringLiteral("Permission denied"));
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.txt")), QByteArray("old"));
}

/// Also through a link to a link, and to where there is nothing yet.
void TestFiles::linksAreWrittenThrough() {
#ifdef Q_OS_WIN
    QSKIP("Qt makes shortcuts there, which only the shell follows");
#endif
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("archive")));
    QVERIFY(QFile::link(QStringLiteral("archive/b.txt"), QStringLiteral("middle.txt")));
    QVERIFY(QFile::link(QStringLiteral("middle.txt"), QStringLiteral("a.txt")));
    for (const QByteArray& content : {QByteArray("one"), QByteArray("two")}) {
        QCOMPARE(platform::replaceFile(QStringLiteral("a.txt"), content), QString());
        QVERIFY(QFileInfo(QStringLiteral("a.txt")).isSymLink());
        QVERIFY(QFileInfo(QStringLiteral("middle.txt")).isSymLink());
        QVERIFY(!QFileInfo(QStringLiteral("archive/b.txt")).isSymLink());
        QCOMPARE(WorkingFolder::read(QStringLiteral("archive/b.txt")), content);
    }
    QCOMPARE(everything(QStringLiteral("archive")), QStringList{QStringLiteral("b.txt")});
}

void TestFiles::newFileTakesNoOthersPlace() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.txt"), "old"));
    QVERIFY(!platform::writeNewFile(QStringLiteral("a.txt"), writerOf("new")).isEmpty());
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.txt")), QByteArray("old"));
}

void TestFiles::severalFilesByTheirSteps() {
    const WorkingFolder folder;
    QStringList temporary;
    for (const QString& name : {QStringLiteral("./a.xml"), QStringLiteral("./b.xml")}) {
        temporary.append(platform::temporaryNameFor(name));
        QVERIFY(QFileInfo(temporary.last()).absoluteDir() == QDir());
        QCOMPARE(platform::writeNewFile(temporary.last(), writerOf(name.toLatin1())), QString());
    }
    QVERIFY(temporary[0] != temporary[1]);
    QCOMPARE(platform::replaceByRename(temporary[0], QStringLiteral("./a.xml")), QString());
    QCOMPARE(platform::replaceByRename(temporary[1], QStringLiteral("./b.xml")), QString());
    QCOMPARE(platform::syncFolder(QStringLiteral(".")), QString());
    QCOMPARE(everything(), (QStringList{QStringLiteral("a.xml"), QStringLiteral("b.xml")}));
    QCOMPARE(WorkingFolder::read(QStringLiteral("b.xml")), QByteArray("./b.xml"));
    QVERIFY(!platform::replaceByRename(temporary[0], QStringLiteral("./a.xml")).isEmpty());
}

void TestFiles::leftOversGo() {
    const WorkingFolder folder;
    const QString old = temporaryName();
    const QString young = temporaryName();
    for (const QString& name : {old, young})
        QVERIFY(WorkingFolder::write(name, "half a picture"));
    QVERIFY(makeOlder(old, 61));
    QVERIFY(makeOlder(young, 59));
    QCOMPARE(platform::removeLeftOvers(QStringLiteral(".")), 1);
    QVERIFY(!QFile::exists(old));
    QVERIFY(QFile::exists(young));
    QCOMPARE(platform::removeLeftOvers(QStringLiteral("."), std::chrono::minutes(58)), 1);
    QCOMPARE(everything(), QStringList());
}

void TestFiles::leftOversOfWhom_data() {
    QTest::addColumn<QString>("name");
    const QString digits(32, QLatin1Char('a'));
    QTest::newRow("one digit less") << QStringLiteral(".bivista-") + digits.mid(1);
    QTest::newRow("one digit more") << QStringLiteral(".bivista-") + digits + QLatin1Char('a');
    QTest::newRow("an ending") << QStringLiteral(".bivista-") + digits + QStringLiteral(".png");
    QTest::newRow("no hexadecimal digit") << QStringLiteral(".bivista-g") + digits.mid(1);
    QTest::newRow("something before") << QStringLiteral("x.bivista-") + digits;
    QTest::newRow("another prefix") << QStringLiteral(".bivistas-") + digits;
    QTest::newRow("a line end") << QStringLiteral(".bivista-") + digits + QLatin1Char('\n');
    QTest::newRow("only the prefix") << QStringLiteral(".bivista-");
    QTest::newRow("a picture") << QStringLiteral("snapshot-20260304150607008.png");
    QTest::newRow("in a sub-folder") << QStringLiteral("lot/.bivista-") + digits;
}

/// Old as they are: what is not surely ours stays.
void TestFiles::leftOversOfWhom() {
    QFETCH(QString, name);
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("lot")));
    if (!WorkingFolder::write(name, "x"))
        QSKIP("no such name here");
    QVERIFY(makeOlder(name, 1000));
    QCOMPARE(platform::removeLeftOvers(QStringLiteral(".")), 0);
    QVERIFY(QFile::exists(name));
}

void TestFiles::leftOversOfAFolderThatIsNotThere() {
    const WorkingFolder folder;
    QCOMPARE(platform::removeLeftOvers(QStringLiteral("gone")), 0);
    // No folder is not the working folder.
    const QString name = temporaryName();
    QVERIFY(WorkingFolder::write(name, "x"));
    QVERIFY(makeOlder(name, 1000));
    QCOMPARE(platform::removeLeftOvers(QString()), 0);
    // A folder of the name stays, and a link, and what it leads to.
    QVERIFY(QDir().mkdir(temporaryName()));
    QCOMPARE(platform::removeLeftOvers(QStringLiteral("."), std::chrono::hours(-1)), 1);
#ifdef Q_OS_UNIX  // elsewhere links are files of their own kind
    QVERIFY(WorkingFolder::write(QStringLiteral("a.txt"), "x"));
    QVERIFY(QFile::link(QStringLiteral("a.txt"), temporaryName()));
    QCOMPARE(platform::removeLeftOvers(QStringLiteral("."), std::chrono::hours(-1)), 0);
    QCOMPARE(everything().size(), 3);
#endif
}

QTEST_GUILESS_MAIN(TestFiles)
#include "tst_files.moc"
