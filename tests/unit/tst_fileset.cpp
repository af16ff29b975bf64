// SPDX-License-Identifier: Apache-2.0
#include <QCoreApplication>
#include <QElapsedTimer>
#include <QProcess>
#include <QSet>
#include <QtTest>
#include <cstdlib>
#include <random>

#include "platform/fileset.h"
#include "support/fulldisk.h"
#include "support/workingfolder.h"

using platform::NewFile;
using platform::recoverFileSet;
using platform::replaceFileSet;

namespace {

const QString kNote = QStringLiteral(".note");
constexpr int kKilled = 57;
constexpr int kWait = 20000;  // ms, limit of every wait

const QStringList& names() {
    static const QStringList list{QStringLiteral("a.txt"), QStringLiteral("b b.txt"),
                                  QStringLiteral("c%20.txt"), QStringLiteral("d\u00e9.txt")};
    return list;
}

QByteArray contentOf(const QString& name, int edition) {
    return name.toUtf8() + ' ' + QByteArray::number(edition) + '\n' +
           QByteArray(200 + edition % 7 * 300, char('a' + edition % 26));
}

/// The last one is the same in every edition.
QVector<NewFile> filesOf(int edition) {
    QVector<NewFile> files;
    for (const QString& name : names())
        files.append({name, contentOf(name, name == names().last() ? 0 : edition)});
    return files;
}

bool are(int edition) {
    const auto files = filesOf(edition);
    return std::all_of(files.begin(), files.end(),
                       [](const NewFile& file) { return WorkingFolder::read(file.name) == file.content; });
}

QStringList allFiles() {
    return QDir().entryList(QDir::Files | QDir::Hidden, QDir::Name);
}

constexpr int kWhenNoted = -1;       // as soon as the note is there
constexpr int kWhenFirstIsNew = -2;  // and the first file is in place

/// Ends the process at the given step, as a power cut would.
platform::FileSetStep endingAt(int step, int edition) {
    return [step, edition, count = 0]() mutable {
        const QString& first = names().first();
        const bool isThere = step == kWhenNoted ? QFile::exists(kNote)
                             : step == kWhenFirstIsNew
                                 ? WorkingFolder::read(first) == contentOf(first, edition)
                                 : ++count == step;
        if (isThere)
            std::_Exit(kKilled);
    };
}

/// Another process in this folder; it is this program with other arguments.
int runBeside(const QStringList& arguments) {
    QProcess process;
    process.start(QCoreApplication::applicationFilePath(), arguments);
    return process.waitForFinished(kWait) && process.exitStatus() == QProcess::NormalExit ? process.exitCode()
                                                                                          : -1;
}

/// A set of this edition that was cut off.
bool cutOff(int edition, int step) {
    return runBeside({QStringLiteral("write"), QString::number(edition), QString::number(step)}) == kKilled &&
           QFile::exists(kNote);
}

/// write EDITION STEP, recover STEP: to be ended at that step. forever: editions 1, 2, ... until killed.
int beside(const QStringList& arguments) {
    if (arguments[1] == QLatin1String("write"))
        return replaceFileSet(kNote, filesOf(arguments[2].toInt()),
                              endingAt(arguments[3].toInt(), arguments[2].toInt()))
                       .isEmpty()
                   ? 0
                   : 1;
    if (arguments[1] == QLatin1String("recover"))
        return recoverFileSet(kNote, endingAt(arguments[2].toInt(), 0)).isEmpty() ? 0 : 1;
    for (int edition = arguments[2].toInt();; ++edition) {
        if (!replaceFileSet(kNote, filesOf(edition)).isEmpty())
            return 1;
    }
}

}  // namespace

/// Files that are replaced all or none, also by a program that is killed on the way.
class TestFileSet : public QObject {
    Q_OBJECT

private slots:
    void allAreNew();
    void killedAtEveryStep_data();
    void killedAtEveryStep();
    void killedWhileRecovering();
    void killedAtRandomMoments();
    void killedWhileUndoing();
    void aNewSetFinishesTheOldOne();
    void finishedByAnotherProcess();
    void undoneWhenAFileCannotBeReplaced();
    void undoneWhenANewFileIsLost();
    void fullDisk();
    void problemsAreReturned_data();
    void problemsAreReturned();
    void linksStayLinks();
    void permissionsStay();
    void foreignNotesRenameNothing_data();
    void foreignNotesRenameNothing();
};

void TestFileSet::allAreNew() {
    const WorkingFolder folder;
    QCOMPARE(replaceFileSet(kNote, filesOf(1)), QString());
    QVERIFY(are(1));
    QCOMPARE(replaceFileSet(kNote, filesOf(2)), QString());
    QVERIFY(are(2));
    QCOMPARE(allFiles().size(), names().size());
    QCOMPARE(replaceFileSet(kNote, {}), QString());
    QCOMPARE(recoverFileSet(kNote), QString());
    QVERIFY(are(2));
}

void TestFileSet::killedAtEveryStep_data() {
    QTest::addColumn<bool>("hadFiles");
    QTest::newRow("old files") << true;
    QTest::newRow("no files") << false;
}

void TestFileSet::killedAtEveryStep() {
    QFETCH(bool, hadFiles);
    int mixed = 0;
    int news = 0;
    int olds = 0;
    for (int step = 1;; ++step) {
        const WorkingFolder folder;
        if (hadFiles)
            QCOMPARE(replaceFileSet(kNote, filesOf(1)), QString());
        const int code = runBeside({QStringLiteral("write"), QStringLiteral("2"), QString::number(step)});
        if (code == 0)
            break;  // there are no more steps
        QCOMPARE(code, kKilled);
        const auto areOld = [&] { return hadFiles ? are(1) : allFiles().isEmpty(); };
        const bool isNoted = QFile::exists(kNote);
        mixed += isNoted && !are(2) && (hadFiles ? !are(1) : QFile::exists(names().first())) ? 1 : 0;
        QCOMPARE(recoverFileSet(kNote), QString());
        QVERIFY(!QFile::exists(kNote));
        if (isNoted || are(2)) {
            ++news;
            QVERIFY(are(2));
            // What was taken over for the note's sake is no longer there either.
            const auto left = QDir().entryList({QStringLiteral(".bivista-*")}, QDir::Files | QDir::Hidden);
            QVERIFY2(left.size() <= 1, qPrintable(left.join(QLatin1Char(' '))));
        } else {
            ++olds;
            // Before the note counts nothing; what lies beside is the sweeper's.
            const auto left = QDir().entryList({QStringLiteral(".bivista-*")}, QDir::Files | QDir::Hidden);
            for (const QString& name : left) {
                QVERIFY(
                    QRegularExpression(QStringLiteral("^\\.bivista-[0-9a-f]{32}$")).match(name).hasMatch());
                QVERIFY(QFile::remove(name));
            }
            QVERIFY(areOld());
        }
    }
    QVERIFY(mixed >= 2 && news >= 4 && olds >= 4);  // the dangerous moments were among them
}

void TestFileSet::killedWhileRecovering() {
    for (int step = 1; step < 40; ++step) {
        const WorkingFolder folder;
        QCOMPARE(replaceFileSet(kNote, filesOf(1)), QString());
        QVERIFY(cutOff(2, kWhenFirstIsNew));
        const int code = runBeside({QStringLiteral("recover"), QString::number(step)});
        QCOMPARE(recoverFileSet(kNote), QString());
        QVERIFY(are(2));
        if (code == 0)
            return;
        QCOMPARE(code, kKilled);
    }
    QFAIL("It never ends");
}

/// A file of the set cannot be put in place any more, and the process that finds that out is killed too.
void TestFileSet::killedWhileUndoing() {
    for (int step = 1; step < 40; ++step) {
        const WorkingFolder folder;
        QCOMPARE(replaceFileSet(kNote, filesOf(1)), QString());
        QVERIFY(cutOff(2, kWhenFirstIsNew));
        QVERIFY(QFile::remove(names()[2]) && QDir().mkdir(names()[2]));
        const int code = runBeside({QStringLiteral("recover"), QString::number(step)});
        // What cannot be put back stays noted.
        const QString problem = recoverFileSet(kNote);
        QCOMPARE(problem.isEmpty(), !QFile::exists(kNote));
        for (const int i : {0, 1, 3})
            QCOMPARE(WorkingFolder::read(names()[i]), filesOf(1)[i].content);
        QVERIFY(QDir().rmdir(names()[2]));
        QCOMPARE(recoverFileSet(kNote), QString());
        QVERIFY(!QFile::exists(names()[2]) || WorkingFolder::read(names()[2]) == filesOf(1)[2].content);
        QVERIFY(!QFile::exists(kNote));
        QVERIFY(QDir().entryList({QStringLiteral(".bivista-*")}, QDir::Files | QDir::Hidden).isEmpty());
        if (code == 0)
            return;
        QCOMPARE(code, kKilled);
    }
    QFAIL("It never ends");
}

void TestFileSet::killedAtRandomMoments() {
    const WorkingFolder folder;
    QCOMPARE(replaceFileSet(kNote, filesOf(1)), QString());
    std::mt19937 random(11);
    QSet<int> editions;
    int noted = 0;
    int first = 2;
    for (int round = 0; round < 60; ++round) {
        QProcess process;
        process.start(QCoreApplication::applicationFilePath(),
                      {QStringLiteral("forever"), QString::number(first)});
        QVERIFY(process.waitForStarted(kWait));
        // From the first new edition on, at any moment of the next ones.
        QElapsedTimer limit;
        limit.start();
        const QByteArray before = WorkingFolder::read(names().first());
        while (WorkingFolder::read(names().first()) == before && limit.elapsed() < kWait)
            QThread::yieldCurrentThread();
        QThread::usleep(random() % 20000);
        process.kill();
        QVERIFY(process.waitForFinished(kWait));
        QCOMPARE(process.exitStatus(), QProcess::CrashExit);
        noted += QFile::exists(kNote) ? 1 : 0;
        QCOMPARE(recoverFileSet(kNote), QString());
        QVERIFY(!QFile::exists(kNote));
        const int edition =
            WorkingFolder::read(names().first()).split('\n').first().split(' ').last().toInt();
        QVERIFY(edition >= first);
        QVERIFY2(are(edition), qPrintable(QString::number(edition)));
        editions.insert(edition);
        first = edition + 1;
        const auto left = QDir().entryList({QStringLiteral(".bivista-*")}, QDir::Files | QDir::Hidden);
        for (const QString& name : left)
            QFile::remove(name);
    }
    QVERIFY(editions.size() > 10);
    QVERIFY2(noted > 0, "never killed with the note there");
}

void TestFileSet::aNewSetFinishesTheOldOne() {
    const WorkingFolder folder;
    QCOMPARE(replaceFileSet(kNote, filesOf(1)), QString());
    QVERIFY(cutOff(2, kWhenNoted));
    // Of other files: those of the old set are not forgotten.
    QCOMPARE(replaceFileSet(kNote, {{QStringLiteral("other.txt"), "new"}}), QString());
    QVERIFY(are(2));
    QCOMPARE(WorkingFolder::read(QStringLiteral("other.txt")), QByteArray("new"));
}

/// The next start comes while this process is at it.
void TestFileSet::finishedByAnotherProcess() {
    const WorkingFolder folder;
    QCOMPARE(replaceFileSet(kNote, filesOf(1)), QString());
    bool isMet = false;
    const QString problem = replaceFileSet(kNote, filesOf(2), [&] {
        if (!isMet && WorkingFolder::read(names().first()) == contentOf(names().first(), 2)) {
            isMet = true;
            QCOMPARE(runBeside({QStringLiteral("recover"), QStringLiteral("1000")}), 0);
        }
    });
    QVERIFY(isMet);
    QCOMPARE(problem, QString());
    QVERIFY(are(2));
    QCOMPARE(allFiles().size(), names().size());
}

/// One of them cannot be put in place at last, after others were: all go back, also those that were not
/// there.
void TestFileSet::undoneWhenAFileCannotBeReplaced() {
    for (const bool hadFiles : {true, false}) {
        // Seen by a process that was killed before, and by the one that runs into it.
        for (const bool wasKilled : {true, false}) {
            const WorkingFolder folder;
            if (hadFiles)
                QCOMPARE(replaceFileSet(kNote, filesOf(1)), QString());
            const auto block = [&] {
                QFile::remove(names()[2]);
                QDir().mkdir(names()[2]);
            };
            if (wasKilled) {
                QVERIFY(cutOff(2, kWhenFirstIsNew));
                block();
                QCOMPARE(recoverFileSet(kNote), QString());
            } else {
                QString problem;
                problem = replaceFileSet(kNote, filesOf(2), [&, isBlocked = false]() mutable {
                    if (!isBlocked && QFile::exists(kNote)) {
                        isBlocked = true;
                        block();
                    }
                });
                QVERIFY(!problem.isEmpty());
            }
            QVERIFY(QFileInfo(names()[2]).isDir());
            for (const int i : {0, 1, 3}) {
                QCOMPARE(WorkingFolder::read(names()[i]), hadFiles ? filesOf(1)[i].content : QByteArray());
                QCOMPARE(QFile::exists(names()[i]), hadFiles);
            }
            QVERIFY(!QFile::exists(kNote));
        }
    }
}

void TestFileSet::undoneWhenANewFileIsLost() {
    const WorkingFolder folder;
    QCOMPARE(replaceFileSet(kNote, filesOf(1)), QString());
    QVERIFY(cutOff(2, kWhenFirstIsNew));
    // Torn, as after a power cut with a disk that promises too much.
    const auto all = QDir().entryList({QStringLiteral(".bivista-*")}, QDir::Files | QDir::Hidden);
    int torn = 0;
    for (const QString& name : all) {
        if (WorkingFolder::read(name) == contentOf(names()[1], 2)) {
            QVERIFY(WorkingFolder::write(name, "torn"));
            ++torn;
        }
    }
    QVERIFY(torn >= 1);
    QCOMPARE(recoverFileSet(kNote), QString());
    QVERIFY(are(1));
}

void TestFileSet::fullDisk() {
#ifdef HAS_FULL_DISK
    for (int bytes = 0; bytes < 3000; bytes += 59) {
        const WorkingFolder folder;
        QCOMPARE(replaceFileSet(kNote, filesOf(2)), QString());
        const FullDisk full{rlim_t(bytes)};
        const bool isWritten = replaceFileSet(kNote, filesOf(3)).isEmpty();
        QVERIFY(are(isWritten ? 3 : 2));
        QCOMPARE(allFiles().size(), names().size());
        QVERIFY(isWritten || bytes < 2000);
        QVERIFY(!isWritten || bytes > 500);
    }
#else
    QSKIP("Disks cannot be made full here");
#endif
}

void TestFileSet::problemsAreReturned_data() {
    QTest::addColumn<QString>("name");
    QTest::newRow("no name") << QString();
    QTest::newRow("no such folder") << QStringLiteral("nowhere/a.txt");
    QTest::newRow("a folder") << QStringLiteral("folder");
    QTest::newRow("a name that is too long") << QString(300, QLatin1Char('x'));
}

void TestFileSet::problemsAreReturned() {
    QFETCH(QString, name);
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("folder")));
    QVERIFY(WorkingFolder::write(QStringLiteral("a.txt"), "old"));
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression(QStringLiteral(".*was not written: .+")));
    const QString problem = replaceFileSet(
        kNote, {{QStringLiteral("a.txt"), "new"}, {QStringLiteral("new.txt"), "new"}, {name, "new"}});
    QVERIFY(!problem.isEmpty());
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.txt")), QByteArray("old"));
    QCOMPARE(allFiles(), QStringList{QStringLiteral("a.txt")});
}

void TestFileSet::linksStayLinks() {
#ifdef Q_OS_UNIX
    const WorkingFolder folder;
    QVERIFY(QDir().mkdir(QStringLiteral("there")));
    QVERIFY(WorkingFolder::write(QStringLiteral("there/a.txt"), "old"));
    QVERIFY(QFile::link(QStringLiteral("there/a.txt"), QStringLiteral("a.txt")));
    QCOMPARE(replaceFileSet(kNote, {{QStringLiteral("a.txt"), "new"}, {QStringLiteral("b.txt"), "new"}}),
             QString());
    QVERIFY(QFileInfo(QStringLiteral("a.txt")).isSymLink());
    QCOMPARE(WorkingFolder::read(QStringLiteral("there/a.txt")), QByteArray("new"));
    QCOMPARE(QDir(QStringLiteral("there")).entryList(QDir::Files | QDir::Hidden).size(), 1);
#else
    QSKIP("A link is another thing here");
#endif
}

void TestFileSet::permissionsStay() {
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.txt"), "old"));
    QVERIFY(QFile::setPermissions(QStringLiteral("a.txt"),
                                  QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther));
    const auto before = QFile::permissions(QStringLiteral("a.txt"));
    QCOMPARE(replaceFileSet(kNote, {{QStringLiteral("a.txt"), "new"}}), QString());
    QCOMPARE(QFile::permissions(QStringLiteral("a.txt")), before);
}

void TestFileSet::foreignNotesRenameNothing_data() {
    QTest::addColumn<QByteArray>("note");
    const QByteArray hex(32, 'a');
    const QByteArray hash(40, 'b');
    const QByteArray good = "Bivista file set 1\n.bivista-" + hex + " - " + hash + " a.txt\nend\n";
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("torn") << good.left(good.size() - 4);
    QTest::newRow("of something else") << QByteArray("hello\nend\n");
    QTest::newRow("another version") << QByteArray(good).replace("set 1", "set 2");
    QTest::newRow("another kind of name") << QByteArray(good).replace(".bivista-", "../a-");
    // Well formed, but what it names is not there, and a.txt is not what it would have put there.
    QTest::newRow("nothing there") << good;
    // Reading it would have no end.
    QTest::newRow("a device") << QByteArray(good).replace("a.txt", "%2Fdev%2Fzero");
}

void TestFileSet::foreignNotesRenameNothing() {
    QFETCH(QByteArray, note);
    const WorkingFolder folder;
    QVERIFY(WorkingFolder::write(QStringLiteral("a.txt"), "mine"));
    QVERIFY(WorkingFolder::write(kNote, note));
    QCOMPARE(recoverFileSet(kNote), QString());
    QCOMPARE(WorkingFolder::read(QStringLiteral("a.txt")), QByteArray("mine"));
    QCOMPARE(allFiles(), QStringList{QStringLiteral("a.txt")});
}

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    static const QSet<QString> others{QStringLiteral("write"), QStringLiteral("recover"),
                                      QStringLiteral("forever")};
    if (arguments.size() > 2 && others.contains(arguments[1]))
        return beside(arguments);
    TestFileSet test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_fileset.moc"
