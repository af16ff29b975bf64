// SPDX-License-Identifier: Apache-2.0
#include "app/onlyprogram.h"

#include <QDebug>
#include <QDir>
#include <QElapsedTimer>
#include <QFileInfo>
#include <QGuiApplication>
#include <QMessageBox>
#include <QSysInfo>
#include <QThread>
#include <QTimer>
#include <cstdlib>
#include <utility>
#include <vector>

#include "platform/process.h"
#include "platform/raising.h"

namespace {

constexpr int kBoxTime = 10'000;        // ms: nobody may sit in front of it
constexpr int kWindowPatience = 5000;   // ms for a program that is starting, or ending
constexpr int kAfterRaising = 2000;     // ms: a window that was raised may be one that is just being closed
constexpr int kAnswerPatience = 5000;   // ms: as long as Windows gives a program
constexpr int kPause = 100;             // ms between two looks
constexpr int kWritingPatience = 500;   // ms from a lock file's making to its being held
constexpr int kReadingPatience = 1000;  // ms for others who look into the file, which cannot be removed then
constexpr int kTurnPatience = 4000;     // ms for another program that is at the same file
constexpr int kTries = 20;              // to hold the file, which somebody's look may hinder for a moment

OnlyProgram* toReleaseAtExit = nullptr;

/// On X11 and Windows everybody has a display here; Qt's stand-ins show nothing to anybody.
bool hasDisplay() {
    const QString name = QGuiApplication::platformName();
    return name != QLatin1String("offscreen") && name != QLatin1String("minimal");
}

void showBox(const QString& text) {
    if (!hasDisplay())
        return;
    QMessageBox box(QMessageBox::Information, QStringLiteral("Bivista"), text, QMessageBox::Ok);
    box.setTextFormat(Qt::PlainText);
    QTimer::singleShot(kBoxTime, &box, &QDialog::accept);
    box.exec();
}

std::unique_ptr<QLockFile> newLock(const QString& file) {
    auto lock = std::make_unique<QLockFile>(file);
    // It is held for months.
    lock->setStaleLockTime(0);
    return lock;
}

/// A lock whose file has lost its name: Qt's would remove, as it goes, whatever has that name now.
void keepForTheProcess(std::unique_ptr<QLockFile> lock) {
    static auto& kept = *new std::vector<std::unique_ptr<QLockFile>>;
    kept.push_back(std::move(lock));
}

}  // namespace

OnlyProgram::OnlyProgram(const QString& workingFolder)
    : folder(workingFolder.isEmpty() ? QString() : QDir(workingFolder).absolutePath()),
      lockFile(QDir(folder).absoluteFilePath(QStringLiteral("bivista.lock"))),
      lock(newLock(lockFile)) {
    watch.setTimerType(Qt::VeryCoarseTimer);
    QObject::connect(&watch, &QTimer::timeout, [this] { look(); });
    taken = !take();
}

OnlyProgram::~OnlyProgram() {
    release();
    if (toReleaseAtExit == this)
        toReleaseAtExit = nullptr;
}

void OnlyProgram::release() {
    if (!lock || !lock->isLocked())
        return;
    // Qt lets go of the file first and removes it then. Whoever took it over between the two would lose it.
    QLockFile turn(turnFile());
    // Without it, too: whoever has it so long is stuck.
    static_cast<void>(turn.tryLock(kPause));
    if (platform::meaningOf(lockFile, held) == platform::HeldName::Ours)
        lock->unlock();
    else
        keepForTheProcess(std::move(lock));
}

/// The destructor does not run in exit(), which a box of the start and a lost display end in.
void OnlyProgram::releaseAtExit() {
    if (toReleaseAtExit)
        toReleaseAtExit->release();
}

/// Held by whoever makes the lock file, looks who has it, or removes it: two that find the same left-over
/// would remove each other's new one, and a look at one that was just made would keep it from being held. The
/// name is the one that Qt has for the first of these.
QString OnlyProgram::turnFile() const {
    return lockFile + QStringLiteral(".rmlock");
}

/// False: another program has the folder.
bool OnlyProgram::take() {
    const QString name = QDir::toNativeSeparators(folder);
    problemText.clear();
    if (folder.isEmpty()) {
        problemText = QStringLiteral(
            "Nothing keeps a second Bivista out of the working folder since it has no "
            "name: it was removed, or its path is too long");
        return true;
    }
    QLockFile turn(turnFile());
    const bool hasTurn = turn.tryLock(kTurnPatience);
    for (int i = 1;; ++i) {
        if (!lock->tryLock(0) && (platform::isHeld(lockFile) ||
                                  (lock->error() == QLockFile::LockFailedError && !takeOver(hasTurn))))
            return false;
        if (!lock->isLocked()) {
            problemText = QStringLiteral(
                              "Nothing keeps a second Bivista out of %1 since no bivista.lock can be "
                              "made there")
                              .arg(name);
            return true;
        }
        held = platform::numberOfHeld(lockFile);
        // Qt takes the folder all the same where its file could not be held.
        if (platform::isHeld(lockFile))
            break;
        if (i == kTries) {
            problemText = QStringLiteral(
                              "Nothing keeps a second Bivista out of %1 since bivista.lock cannot be "
                              "held there")
                              .arg(name);
            break;
        }
        lock->unlock();
        QThread::msleep(kPause / 10);
    }
    static const int registered = std::atexit(releaseAtExit);
    static_cast<void>(registered);
    toReleaseAtExit = this;
    watch.start(kLookTime);
    return true;
}

/// Takes a file that nobody holds, if it can be taken. Qt's own judgement is by what is written in it: a
/// process of that number and name may be there again, and a PC may have another name than then. False:
/// another program was quicker.
bool OnlyProgram::takeOver(bool hasTurn) {
    if (!hasTurn)
        return !platform::isHeld(lockFile);
    // One that was just made is held when it has its content.
    QElapsedTimer time;
    time.start();
    while (QFileInfo::exists(lockFile) && QFileInfo(lockFile).size() == 0 &&
           !time.hasExpired(kWritingPatience))
        QThread::msleep(kPause / 10);
    if (platform::isHeld(lockFile))
        return false;
    // Qt looks once more whether it is held, but cannot do so with another user's file.
    const auto remove = [this] { return lock->removeStaleLockFile() || QFile::remove(lockFile); };
    bool isGone = remove();
    // Windows removes nothing that somebody reads: another start, a virus scanner.
    for (time.restart(); !isGone && QFileInfo(lockFile).isFile() && !time.hasExpired(kReadingPatience);) {
        if (platform::isHeld(lockFile))
            return false;
        QThread::msleep(kPause / 10);
        isGone = remove();
    }
    // On Windows a name is not free at once where a virus scanner has looked at its file.
    return lock->tryLock(kWritingPatience) || !isGone || lock->error() != QLockFile::LockFailedError;
}

void OnlyProgram::look() {
    if (!lock || !lock->isLocked())
        return;
    const platform::HeldName name = platform::meaningOf(lockFile, held);
    if (name == platform::HeldName::Ours) {
        isLost = false;
        return;
    }
    const platform::FileNumber heldBefore = held;
    std::unique_ptr<QLockFile> before = std::exchange(lock, newLock(lockFile));
    const QString shown = QDir::toNativeSeparators(folder);
    const bool isFree = take();
    if (isFree && lock->isLocked()) {
        keepForTheProcess(std::move(before));
        isLost = false;
        qWarning().noquote() << "The bivista.lock in" << shown << "was removed; it is there again";
        return;
    }
    // The folder may be away, or another's; it may come back.
    lock = std::move(before);
    held = heldBefore;
    if (!isFree && !std::exchange(isLost, true))
        qWarning().noquote() << "Another Bivista works in" << shown
                             << "too: the bivista.lock of this one was removed";
}

qint64 OnlyProgram::holder() const {
    qint64 process = 0;
    QString host;
    QString program;
    if (!taken || !lock->getLockInfo(&process, &host, &program))
        return 0;
    // Qt writes either, by the system.
    const bool isHere = host == QSysInfo::machineHostName() || host == qEnvironmentVariable("COMPUTERNAME");
    return isHere ? process : 0;
}

bool OnlyProgram::giveWay() {
    return giveWay({platform::raiseWindowsOf, platform::answers, showBox});
}

bool OnlyProgram::giveWay(const Ways& ways) {
    QElapsedTimer time;
    time.start();
    bool isRaised = false;
    bool hasAnswered = false;
    const auto patience = [&] {
        return !isRaised ? kWindowPatience : hasAnswered ? kAfterRaising : kAnswerPatience;
    };
    while (!time.hasExpired(patience())) {
        taken = !take();
        if (!taken)
            return false;
        const qint64 process = holder();
        if (!isRaised && process != 0 && ways.raise(process)) {
            isRaised = true;
            time.restart();
        }
        // The desktop shows the window of one that hangs, too.
        if (isRaised && !hasAnswered)
            hasAnswered = ways.answers(process, kPause);
        QThread::msleep(kPause);
    }
    QString text = QStringLiteral("Bivista is already running in %1").arg(QDir::toNativeSeparators(folder));
    text += isRaised && !hasAnswered ? QStringLiteral(", but does not answer.") : QStringLiteral(".");
    platform::write(platform::Channel::Error, text + QLatin1Char('\n'));
    if (!isRaised)
        text += QStringLiteral("\nNo window of it is on this screen.");
    if (!isRaised || !hasAnswered)
        ways.show(text);
    return true;
}
