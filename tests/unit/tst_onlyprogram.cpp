// SPDX-License-Identifier: Apache-2.0
#include <QtTest>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <vector>

#include "app/onlyprogram.h"
#include "platform/process.h"
#include "support/workingfolder.h"

namespace {

const QString kLock = QStringLiteral("bivista.lock");

/// This program again, which says that it is there, and when it gets a line takes the folder, says whether it
/// is the only one, and keeps it until its standard input is closed. "exit": it ends by exit() then.
int hold(const QString& folder, bool byExit) {
    std::puts("ready");
    std::fflush(stdout);
    std::getchar();
    OnlyProgram only(folder);
    std::puts(only.isTaken() ? "taken" : "only");
    std::fflush(stdout);
    while (std::getchar() != EOF) {
    }
    if (byExit)
        std::exit(0);
    return 0;
}

std::unique_ptr<QProcess> startHolder(const QStringList& more = {}) {
    auto process = std::make_unique<QProcess>();
    process->start(QCoreApplication::applicationFilePath(), QStringList{"hold", QDir::currentPath()} + more);
    return process;
}

QByteArray lineOf(QProcess& process) {
    while (!process.canReadLine())
        if (!process.waitForReadyRead(20'000))
            return "nothing";
    return process.readLine().trimmed();
}

/// All at once, as far as one can have that; what each of them says.
QByteArrayList take(const std::vector<std::unique_ptr<QProcess>>& holders) {
    QByteArrayList said;
    for (const auto& holder : holders)
        if (lineOf(*holder) != "ready")
            return {"not ready"};
    for (const auto& holder : holders) {
        holder->write("\n");
        holder->waitForBytesWritten();
    }
    for (const auto& holder : holders)
        said.append(lineOf(*holder));
    std::sort(said.begin(), said.end());
    return said;
}

/// False where the system lets nobody do so, or others have it still.
bool removeAsOthersDo(const QString& file) {
    return QFile::remove(file) && !QFile::exists(file);
}

/// As Qt writes lock files.
QByteArray lockFile(qint64 process, const QString& program, const QString& host) {
    return QStringLiteral("%1\n%2\n%3\n").arg(process).arg(program, host).toUtf8() +
           QSysInfo::machineUniqueId() + '\n' + QSysInfo::bootUniqueId() + '\n';
}

}  // namespace

/// One working folder, one program.
class TestOnlyProgram : public QObject {
    Q_OBJECT

private slots:
    void firstOneHasTheFolder();
    void secondOneDoesNot();
    void byAnotherPath();
    void twoFolders();
    void leftOverStopsNobody_data();
    void leftOverStopsNobody();
    void killedProgram();
    void oneOfMany();
    void endByExit();
    void whereNoFileCanBeMade_data();
    void whereNoFileCanBeMade();
    void holderOnAnotherPc();
    void windowIsRaised();
    void withoutAWindow();
    void windowDoesNotAnswer();
    void firstOneIsJustEnding();
    void removedFile_data();
    void removedFile();
    void fileOfAnother();
    void fileOfAnotherThatEnds();
    void whileOthersLook();
    void folderWithoutAName();
};

void TestOnlyProgram::firstOneHasTheFolder() {
    const WorkingFolder here;
    {
        const OnlyProgram only(".");
        QVERIFY(!only.isTaken());
        QCOMPARE(only.holder(), 0);
        QCOMPARE(only.problem(), QString());
        QVERIFY(QFile::exists(kLock));
        QVERIFY(platform::isHeld(kLock));
    }
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList());
}

void TestOnlyProgram::secondOneDoesNot() {
    const WorkingFolder here;
    auto first = std::make_unique<OnlyProgram>(".");
    {
        const OnlyProgram second(".");
        QVERIFY(second.isTaken());
        QCOMPARE(second.holder(), QCoreApplication::applicationPid());
    }
    // It has not taken anything with it.
    QVERIFY(platform::isHeld(kLock));
    first.reset();
    QVERIFY(!QFile::exists(kLock));
    QVERIFY(!OnlyProgram(".").isTaken());
}

void TestOnlyProgram::byAnotherPath() {
#ifdef Q_OS_WIN
    QSKIP("Only few may make links there");
#endif
    const WorkingFolder here;
    QVERIFY(QDir().mkdir("a"));
    QVERIFY(QFile::link(here.path() + "/a", "b"));
    const OnlyProgram first("a");
    QVERIFY(!first.isTaken());
    QVERIFY(OnlyProgram("b").isTaken());
    QVERIFY(OnlyProgram(here.path() + "/b/../a").isTaken());
}

void TestOnlyProgram::twoFolders() {
    const WorkingFolder here;
    QVERIFY(QDir().mkdir("a") && QDir().mkdir("b"));
    const OnlyProgram first("a");
    const OnlyProgram second("b");
    QVERIFY(!first.isTaken());
    QVERIFY(!second.isTaken());
}

void TestOnlyProgram::leftOverStopsNobody_data() {
    QTest::addColumn<QByteArray>("content");
    const QString host = QSysInfo::machineHostName();
    const QString name = QFileInfo(QCoreApplication::applicationFilePath()).completeBaseName();
    const qint64 living = QCoreApplication::applicationPid();
    QTest::newRow("of a dead process") << lockFile(999'999'999, "bivista", host);
    // Its number was given again, to a program of the same name too.
    QTest::newRow("of a living process") << lockFile(living, name, host);
    QTest::newRow("of a living process of another name") << lockFile(living, "bivista", host);
    QTest::newRow("of a PC renamed since") << lockFile(living, name, "another-pc");
    QTest::newRow("of a PC renamed since, dead") << lockFile(999'999'999, "bivista", "another-pc");
    QTest::newRow("empty") << QByteArray();
    QTest::newRow("nothing but NULs") << QByteArray(100, '\0');
    QTest::newRow("garbage") << QByteArray("\xff\xfe no number\n\n\n\n");
    QTest::newRow("half of it") << QByteArray("12345");
    QTest::newRow("long") << QByteArray(1'000'000, '7');
}

void TestOnlyProgram::leftOverStopsNobody() {
    QFETCH(QByteArray, content);
    const WorkingFolder here;
    QVERIFY(WorkingFolder::write(kLock, content));
    {
        const OnlyProgram only(".");
        QVERIFY(!only.isTaken());
        QVERIFY(platform::isHeld(kLock));
        // It is there for the next one to see.
        QVERIFY(OnlyProgram(".").isTaken());
        QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList{kLock});
    }
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList());
}

void TestOnlyProgram::killedProgram() {
    const WorkingFolder here;
    std::vector<std::unique_ptr<QProcess>> holders;
    holders.push_back(startHolder());
    QCOMPARE(take(holders), QByteArrayList{"only"});
    QProcess* const holder = holders.front().get();
    {
        const OnlyProgram second(".");
        QVERIFY(second.isTaken());
        QCOMPARE(second.holder(), holder->processId());
    }
    holder->kill();
    QVERIFY(holder->waitForFinished(20'000));
    QVERIFY(QFile::exists(kLock));
    QVERIFY(!OnlyProgram(".").isTaken());
}

/// All find the same left-over at once.
void TestOnlyProgram::oneOfMany() {
    const WorkingFolder here;
    const QString name = QFileInfo(QCoreApplication::applicationFilePath()).completeBaseName();
    for (int round = 0; round < 10; ++round) {
        QVERIFY(WorkingFolder::write(
            kLock, lockFile(QCoreApplication::applicationPid(), name, QSysInfo::machineHostName())));
        std::vector<std::unique_ptr<QProcess>> holders;
        for (int i = 0; i < 4; ++i)
            holders.push_back(startHolder());
        QCOMPARE(take(holders), (QByteArrayList{"only", "taken", "taken", "taken"}));
        for (const auto& holder : holders) {
            holder->closeWriteChannel();
            QVERIFY(holder->waitForFinished(20'000));
        }
        QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList());
    }
}

void TestOnlyProgram::endByExit() {
    const WorkingFolder here;
    std::vector<std::unique_ptr<QProcess>> holders;
    holders.push_back(startHolder({"exit"}));
    QCOMPARE(take(holders), QByteArrayList{"only"});
    QProcess* const holder = holders.front().get();
    holder->closeWriteChannel();
    QVERIFY(holder->waitForFinished(20'000));
    QVERIFY(!QFile::exists(kLock));
}

void TestOnlyProgram::whereNoFileCanBeMade_data() {
    QTest::addColumn<QString>("folder");
    QTest::newRow("no folder") << "gone";
    QTest::newRow("a folder has its name") << "occupied";
#ifdef Q_OS_LINUX
    QTest::newRow("not even for root") << "/proc";
#endif
}

void TestOnlyProgram::whereNoFileCanBeMade() {
    QFETCH(QString, folder);
    const WorkingFolder here;
    QVERIFY(QDir().mkpath("occupied/bivista.lock/full"));
    for (int i = 0; i < 2; ++i) {
        const OnlyProgram only(folder);
        QVERIFY(!only.isTaken());
        QVERIFY2(only.problem().startsWith("Nothing keeps a second Bivista out of "),
                 qPrintable(only.problem()));
        QVERIFY2(only.problem().contains(QDir::toNativeSeparators(folder)), qPrintable(only.problem()));
    }
    QVERIFY(QFile::exists("occupied/bivista.lock/full"));
}

/// Its process number is that of anybody here.
void TestOnlyProgram::holderOnAnotherPc() {
    const WorkingFolder here;
    const OnlyProgram first(".");
    QFile file(kLock);
    if (!file.open(QIODevice::ReadWrite))
        QSKIP("Nobody can write to it here");
    file.write(lockFile(QCoreApplication::applicationPid(), "bivista", "another-pc"));
    file.close();
    const OnlyProgram second(".");
    QVERIFY(second.isTaken());
    QCOMPARE(second.holder(), 0);
}

void TestOnlyProgram::windowIsRaised() {
    const WorkingFolder here;
    const OnlyProgram first(".");
    OnlyProgram second(".");
    QVector<qint64> raised;
    // It has no window at the first look.
    QVector<qint64> asked;
    const bool isOver = second.giveWay({[&](qint64 process) {
                                            raised.append(process);
                                            return raised.size() == 2;
                                        },
                                        // It is busy at first.
                                        [&](qint64 process, int) {
                                            asked.append(process);
                                            return asked.size() == 3;
                                        },
                                        [](const QString& text) { QFAIL(qPrintable(text)); }});
    QVERIFY(isOver);
    QVERIFY(second.isTaken());
    const qint64 own = QCoreApplication::applicationPid();
    QCOMPARE(raised, (QVector<qint64>{own, own}));
    QCOMPARE(asked, (QVector<qint64>{own, own, own}));
}

void TestOnlyProgram::withoutAWindow() {
    const WorkingFolder here;
    const OnlyProgram first(".");
    OnlyProgram second(".");
    QStringList shown;
    QVERIFY(second.giveWay({[](qint64) { return false; }, [](qint64, int) { return false; },
                            [&](const QString& text) { shown.append(text); }}));
    QCOMPARE(shown.size(), 1);
    QVERIFY2(shown.first().startsWith(QStringLiteral("Bivista is already running in %1.")
                                          .arg(QDir::toNativeSeparators(QDir::currentPath()))),
             qPrintable(shown.first()));
    QVERIFY2(shown.first().contains("No window"), qPrintable(shown.first()));
}

/// It hangs: its window comes to the front, and nothing more will happen.
void TestOnlyProgram::windowDoesNotAnswer() {
    const WorkingFolder here;
    const OnlyProgram first(".");
    OnlyProgram second(".");
    QStringList shown;
    QVERIFY(second.giveWay({[](qint64) { return true; }, [](qint64, int) { return false; },
                            [&](const QString& text) { shown.append(text); }}));
    QCOMPARE(shown, QStringList{QStringLiteral("Bivista is already running in %1, but does not answer.")
                                    .arg(QDir::toNativeSeparators(QDir::currentPath()))});
}

/// Whoever closes the window and starts the program again gets it.
void TestOnlyProgram::firstOneIsJustEnding() {
    const WorkingFolder here;
    for (const bool isRaised : {false, true}) {
        auto first = std::make_unique<OnlyProgram>(".");
        OnlyProgram second(".");
        QVERIFY(second.isTaken());
        const bool isOver = second.giveWay({[&](qint64) {
                                                first.reset();
                                                return isRaised;
                                            },
                                            [](qint64, int) { return true; },
                                            [](const QString& text) { QFAIL(qPrintable(text)); }});
        QVERIFY(!isOver);
        QVERIFY(!second.isTaken());
        QVERIFY(OnlyProgram(".").isTaken());
    }
}

/// By hand, or with the folder.
void TestOnlyProgram::removedFile_data() {
    QTest::addColumn<bool>("withFolder");
    QTest::newRow("alone") << false;
    QTest::newRow("with its folder") << true;
}

void TestOnlyProgram::removedFile() {
    QFETCH(bool, withFolder);
    const WorkingFolder here;
    QVERIFY(QDir().mkdir("station"));
    const QString file = "station/" + kLock;
    {
        OnlyProgram first("station");
        QVERIFY(!first.isTaken());
        if (!removeAsOthersDo(file))
            QSKIP("Nobody can remove a file there that is held");
        if (withFolder) {
            QVERIFY(QDir().rmdir("station"));
            // There is nothing to hold, and nothing to say.
            first.look();
            QVERIFY(QDir().mkdir("station"));
        }
        QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^The bivista.lock in .* was removed"));
        first.look();
        QVERIFY(platform::isHeld(file));
        QVERIFY(OnlyProgram("station").isTaken());
        first.look();
    }
    QCOMPARE(QDir("station").entryList(QDir::Files | QDir::Hidden), QStringList());
}

/// Somebody else has begun there before it was seen.
void TestOnlyProgram::fileOfAnother() {
    const WorkingFolder here;
    auto first = std::make_unique<OnlyProgram>(".");
    if (!removeAsOthersDo(kLock))
        QSKIP("Nobody can remove a file there that is held");
    auto second = std::make_unique<OnlyProgram>(".");
    QVERIFY(!second->isTaken());
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Another Bivista works in .* too"));
    first->look();
    first->look();  // says it once
    // What is the other's stays, whoever ends first.
    first.reset();
    QVERIFY(platform::isHeld(kLock));
    QVERIFY(OnlyProgram(".").isTaken());
    second.reset();
    QCOMPARE(QDir().entryList(QDir::Files | QDir::Hidden), QStringList());
}

void TestOnlyProgram::fileOfAnotherThatEnds() {
    const WorkingFolder here;
    OnlyProgram first(".");
    if (!removeAsOthersDo(kLock))
        QSKIP("Nobody can remove a file there that is held");
    auto second = std::make_unique<OnlyProgram>(".");
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^Another Bivista works in .* too"));
    first.look();
    second.reset();
    QTest::ignoreMessage(QtWarningMsg, QRegularExpression("^The bivista.lock in .* was removed"));
    first.look();
    QVERIFY(OnlyProgram(".").isTaken());
}

/// A look at a file that was just made takes it for a moment, and Qt tries only once.
void TestOnlyProgram::whileOthersLook() {
#ifdef Q_OS_WIN
    QSKIP("A name is not free there while somebody looks at its file");
#endif
    const WorkingFolder here;
    std::atomic<bool> isOver{false};
    std::thread other([&] {
        while (!isOver) {
            static_cast<void>(platform::isHeld(kLock));
            // Without a pause it has the file nearly always, which no number of tries gets past.
            QThread::usleep(50);
        }
    });
    int free = 0;
    for (int i = 0; i < 300; ++i) {
        const OnlyProgram only(".");
        free += only.isTaken() || !only.problem().isEmpty() || !platform::isHeld(kLock) ? 1 : 0;
    }
    isOver = true;
    other.join();
    QCOMPARE(free, 0);
}

/// It must not be taken for the system's first one.
void TestOnlyProgram::folderWithoutAName() {
    const OnlyProgram first{QString()};
    QVERIFY(!first.isTaken());
    QVERIFY2(first.problem().contains("it has no name"), qPrintable(first.problem()));
    QVERIFY(!OnlyProgram(QString()).isTaken());
    QVERIFY(!QFile::exists(QDir::rootPath() + kLock));
}

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    const QStringList arguments = QCoreApplication::arguments();
    if (arguments.value(1) == "hold")
        return hold(arguments.value(2), arguments.value(3) == "exit");
    TestOnlyProgram test;
    return QTest::qExec(&test, argc, argv);
}
#include "tst_onlyprogram.moc"
