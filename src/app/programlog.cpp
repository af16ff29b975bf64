// SPDX-License-Identifier: Apache-2.0
#include "app/programlog.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QDir>
#include <QElapsedTimer>
#include <QThread>
#include <atomic>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <utility>

#include "app/logfile.h"
#include "app/logheader.h"
#include "app/logwriter.h"
#include "app/repeatedlines.h"

namespace {

/// What the handler works on. Never freed: threads may log until the process is gone.
struct Log {
    std::mutex mutex;
    QElapsedTimer clock;
    RepeatedLines lines;
    QtMessageHandler before = nullptr;  // what to tell goes there
    std::shared_ptr<LogWriter> writer;  // and there
    QString file;
    bool hasNoFile = false;
};

Log& theLog() {
    static Log& log = *new Log;
    return log;
}

/// What the log calls the thread that asks. Kept without anything that has to be freed: a thread may log
/// while it ends.
QByteArray threadName() {
    constexpr size_t kLongest = 24;
    static std::atomic<int> nameless{0};
    thread_local char name[kLongest] = "";
    if (name[0] == '\0') {
        const QThread* const thread = QThread::currentThread();
        const QByteArray kind = thread->metaObject()->className();
        QByteArray chosen = thread->objectName().toUtf8();
        if (chosen.isEmpty() && QCoreApplication::instance() &&
            thread == QCoreApplication::instance()->thread())
            chosen = "main";
        // What a QThread of ours is called in the source says most; those that run a function have none.
        if (chosen.isEmpty() && kind != "QThread" && !kind.startsWith('Q'))
            chosen = kind;
        if (chosen.isEmpty())
            chosen = "thread " + QByteArray::number(++nameless);
        qstrncpy(name, chosen.constData(), kLongest);
    }
    return QByteArray(name);
}

/// With the mutex held, so that lines stay in their order. `said` is what has just been said, by this thread;
/// what else there is to tell, several may have said.
void tell(const QVector<LogLine>& lines, const LogLine* said = nullptr) {
    const Log& log = theLog();
    const qint64 time = QDateTime::currentMSecsSinceEpoch();
    for (const LogLine& line : lines) {
        const QMessageLogContext context(nullptr, 0, nullptr, line.category.constData());
        log.before(line.type, context, line.text);
        const bool isSaid = said && &line == &lines.last() && line.text == said->text;
        if (log.writer)
            log.writer->add({time, isSaid ? threadName() : QByteArray("-"), line});
    }
}

[[noreturn]] void handleFatal(const LogLine& line, const QMessageLogContext& context) {
    Log& log = theLog();
    std::shared_ptr<LogWriter> writer;
    {
        const std::lock_guard<std::mutex> lock(log.mutex);
        tell(log.lines.rest(log.clock.elapsed()));
        if ((writer = log.writer))
            writer->add({QDateTime::currentMSecsSinceEpoch(), threadName(), line});
    }
    // Who waits for the disk lets others log.
    if (writer)
        writer->finish(writer->patience());
    log.before(line.type, context, line.text);
    // As Qt would on most systems; but on Windows its end asks nobody who writes down crashes.
    std::abort();
}

void handle(QtMsgType type, const QMessageLogContext& context, const QString& text) {
    Log& log = theLog();
    const LogLine line{type, context.category, text};
    if (type == QtFatalMsg)
        handleFatal(line, context);
    const std::lock_guard<std::mutex> lock(log.mutex);
    tell(log.lines.feed(line, log.clock.elapsed()), &line);
}

void tellDue() {
    const std::lock_guard<std::mutex> lock(theLog().mutex);
    tell(theLog().lines.due(theLog().clock.elapsed()));
}

/// All that was counted, and all that is not in the file yet.
void finish() {
    std::shared_ptr<LogWriter> writer;
    {
        const std::lock_guard<std::mutex> lock(theLog().mutex);
        tell(theLog().lines.rest(theLog().clock.elapsed()));
        writer = std::move(theLog().writer);
    }
    if (!writer)
        return;
    writer->add(
        {QDateTime::currentMSecsSinceEpoch(), threadName(), {QtInfoMsg, {}, QStringLiteral("The log ends")}});
    writer->finish(writer->patience());
}

/// The header as records: the first with the time of the start, others with that at which a file begins.
LogFile::Header headerOf(const QStringList& lines) {
    return [lines, start = QDateTime::currentMSecsSinceEpoch()]() mutable {
        const qint64 begun = std::exchange(start, 0);
        const qint64 time = begun > 0 ? begun : QDateTime::currentMSecsSinceEpoch();
        QByteArray text;
        for (const QString& line : lines)
            text += fileText({time, "main", {QtInfoMsg, {}, line}});
        return text;
    };
}

QString placeOf(const QString& file) {
    return QDir::current().absoluteFilePath(file.isEmpty() ? QStringLiteral("logs/bivista.log") : file);
}

std::shared_ptr<LogWriter> writerOf(const QString& file) {
    const auto store = std::make_shared<LogFile>(file, headerOf(logHeader()));
    return std::make_shared<LogWriter>(QDir::toNativeSeparators(file),
                                       [store](const QByteArray& lines) { return store->append(lines); });
}

}  // namespace

ProgramLog::ProgramLog(const std::optional<QString>& file) {
    Log& log = theLog();
    if (!log.clock.isValid())
        std::atexit(finish);
    log.clock.start();
    log.hasNoFile = !file;
    log.file = file ? placeOf(*file) : QString();
    log.writer = file ? writerOf(log.file) : nullptr;
    // Found by handing over another one: nobody else tells which it is.
    log.before = qInstallMessageHandler(nullptr);
    qInstallMessageHandler(handle);
    QObject::connect(&timer, &QTimer::timeout, tellDue);
    timer.start(static_cast<int>(RepeatedLines::kPeriod));
    // For the header: a start that says nothing has a file, too.
    noteInLog(QStringLiteral("The log begins"));
}

ProgramLog::~ProgramLog() {
    finish();
    qInstallMessageHandler(theLog().before);
    theLog().file.clear();
    theLog().hasNoFile = false;
}

QString ProgramLog::fileName() {
    return theLog().file.isEmpty() && !theLog().hasNoFile ? placeOf({}) : theLog().file;
}

void flushLog() {
    std::shared_ptr<LogWriter> writer;
    {
        const std::lock_guard<std::mutex> lock(theLog().mutex);
        tell(theLog().lines.rest(theLog().clock.elapsed()));
        writer = theLog().writer;
    }
    if (writer)
        writer->flush(writer->patience());
}

QString logProblem() {
    std::shared_ptr<LogWriter> writer;
    {
        const std::lock_guard<std::mutex> lock(theLog().mutex);
        writer = theLog().writer;
    }
    const QString reason = writer ? writer->problem() : QString();
    return reason.isEmpty() ? reason : QStringLiteral("The log cannot be written: ") + reason;
}

void noteInLog(const QString& text) {
    Log& log = theLog();
    const std::lock_guard<std::mutex> lock(log.mutex);
    if (log.writer)
        log.writer->add({QDateTime::currentMSecsSinceEpoch(), threadName(), {QtInfoMsg, {}, text}});
}
