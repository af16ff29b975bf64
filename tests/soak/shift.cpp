// SPDX-License-Identifier: Apache-2.0
#include "soak/shift.h"

#include <QFile>
#include <QJsonArray>
#include <QRegularExpression>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <optional>
#include <signal.h>

#include "soak/clock.h"
#include "soak/controller.h"
#include "soak/operator.h"
#include "soak/picturestore.h"
#include "soak/watches.h"
#include "soak/workplace.h"

namespace {

// What is promised.
constexpr double kAnswerLimit = 2000;        // ms, pictures being written aside
constexpr double kSharedAnswerLimit = 4000;  // ms, once, where the machine is shared
constexpr double kMemoryGrowth = 16;         // MB from the first third to the last
constexpr double kShortGrowth = 80;          // MB; in the first minutes the allocator has not yet seen it all
constexpr double kShort = 15 * 60000.0;      // ms
constexpr int kHandleGrowth = 2;
constexpr int kThreadGrowth = 1;
constexpr double kLinesAtOnce = 30;    // of the log, that nobody's action asked for
constexpr double kLinesPerHour = 300;  // and beyond that
constexpr double kWindow = 30000;      // ms within which the least memory counts
constexpr int kStop = 3000;            // ms that a sabotaged program is stopped
constexpr int kTear = 200;             // ms that a sabotaged setting.ini is torn

double percentile(const QVector<double>& sorted, double part) {
    return sorted.isEmpty() ? 0 : sorted[std::min(sorted.size() - 1, int(part * sorted.size()))];
}

QJsonObject toJson(const QMap<QString, int>& counts) {
    QJsonObject object;
    for (auto count = counts.begin(); count != counts.end(); ++count)
        object[count.key()] = count.value();
    return object;
}

/// The least of each window; nothing of the first fifth, in which everything is used for the first time.
template <typename Number>
QVector<double> floors(const QVector<Usage>& samples, Number Usage::*what) {
    QVector<double> result;
    if (samples.isEmpty())
        return result;
    const double length = samples.last().time - samples.first().time;
    const double begin = samples.first().time + length / 5;
    const double window = std::min(kWindow, length / 10);
    for (const Usage& sample : samples) {
        if (sample.time < begin)
            continue;
        const int index = int((sample.time - begin) / window);
        const double value = double(sample.*what);
        if (index >= result.size())
            result.append(value);
        else
            result[result.size() - 1] = std::min(result.last(), value);
    }
    return result;
}

struct Flatness {
    double first = 0;  ///< the least in the first third
    double last = 0;   ///< in the last
};

Flatness flatness(const QVector<double>& values) {
    const int third = values.size() / 3;
    if (third == 0)
        return {};
    return {*std::min_element(values.begin(), values.begin() + third),
            *std::min_element(values.end() - third, values.end())};
}

/// Kinds of log lines: numbers and what is quoted do not make a kind.
QString kindOf(QString line) {
    static const QRegularExpression numbers(QStringLiteral("\"[^\"]*\"|0x[0-9a-f]+|-?[0-9.]+"));
    return line.replace(numbers, QStringLiteral("#")).left(60).trimmed();
}

/// Lines that an action of the operator makes, or the start and the end.
bool isAskedFor(const QString& line) {
    static const QRegularExpression asked(QStringLiteral(
        "^(scanned|before|after|mark |MainWindow::on_actionFreeze|thread run|term thread|exit capture|"
        "Close event|Device count|sn |qt\\.qpa\\.xcb: Unhandled client message)"));
    return asked.match(line).hasMatch();
}

class Shift {
public:
    explicit Shift(const ShiftOptions& what) : options(what), workplace(what.frame, what.rate) {}

    Report run();

private:
    void work();
    void sabotage(double part);
    void judgeAnswers();
    void judgeUsage();
    void judgePictures();
    void judgeSettings();
    void judgeLog();
    void fail(const QString& text) { report.failures.append(text); }

    const ShiftOptions options;
    Workplace workplace;
    Report report;
    std::optional<PictureStore> pictures;
    std::optional<FolderWatch> folder;
    std::optional<AnswerWatch> answers;
    std::optional<UsageWatch> usage;
    std::optional<Controller> controller;
    std::optional<Operator> person;
    double length = 0;  // ms
    int sabotages = 0;
};

Report Shift::run() {
    QString problem = workplace.setUp();
    if (problem.isEmpty())
        problem = workplace.startProgram();
    if (!problem.isEmpty()) {
        fail(QStringLiteral("The program did not start: ") + problem);
        return report;
    }
    const double begin = nowMs();
    pictures.emplace(workplace.pictures());
    folder.emplace(workplace.folder(), workplace.pictures());
    answers.emplace(workplace.desktop.display(), workplace.window());
    usage.emplace(workplace.processId());
    controller.emplace(workplace, *pictures, options.seed, options.isGentle);
    person.emplace(workplace, *pictures, *folder, *controller, options.seed + 1);

    if (person->begin())
        work();
    controller->stop();
    person->settle();
    const bool wasAlive = workplace.isAlive();
    answers->stop();
    usage->stop();
    length = nowMs() - begin;
    const int code = workplace.endProgram();
    if (!wasAlive || code != 0)
        fail(wasAlive ? QStringLiteral("The program ended with %1").arg(code)
                      : QStringLiteral("The program crashed"));
    folder->stop();
    pictures->stop();

    report.figures[QStringLiteral("seconds")] = length / 1000;
    report.figures[QStringLiteral("seed")] = double(options.seed);
    report.figures[QStringLiteral("gentle")] = options.isGentle;
    judgeAnswers();
    judgeUsage();
    judgePictures();
    judgeSettings();
    judgeLog();
    return report;
}

void Shift::work() {
    const double begin = nowMs();
    while (workplace.isAlive()) {
        const double part = (nowMs() - begin) / (options.seconds * 1000.0);
        if (part >= 1)
            return;
        if (options.isSabotaged)
            sabotage(part);
        person->act();
    }
}

/// Each in its quarter, once.
void Shift::sabotage(double part) {
    if (sabotages >= int(part * 4))
        return;
    ++sabotages;
    controller->pause();
    person->settle();
    if (sabotages == 1) {
        pictures->loseOne();
        person->pressSave(1);
        person->settle();
    } else if (sabotages == 2) {
        QFile file(workplace.file(QStringLiteral("setting.ini")));
        if (file.open(QIODevice::ReadOnly)) {
            const QByteArray whole = file.readAll();
            file.close();
            workplace.write(QStringLiteral("setting.ini"), whole.left(whole.size() / 2));
            QThread::msleep(kTear);
            workplace.write(QStringLiteral("setting.ini"), whole);
        }
    } else if (sabotages == 3) {
        ::kill(static_cast<pid_t>(workplace.processId()), SIGSTOP);
        QThread::msleep(kStop);
        ::kill(static_cast<pid_t>(workplace.processId()), SIGCONT);
    }
    controller->resume();
}

void Shift::judgeAnswers() {
    const QVector<Interval> writing = folder->writing();
    QVector<double> times;
    QVector<double> held;
    QVector<Interval> asked = answers->answers();
    if (!asked.isEmpty() && asked.last().end <= 0)
        asked.removeLast();  // the end came between question and answer
    for (const Interval& interval : qAsConst(asked)) {
        times.append(outside(interval, writing));
        held.append(interval.end - interval.begin);
    }
    std::sort(times.begin(), times.end());
    std::sort(held.begin(), held.end());
    QVector<double> pictureTimes;
    for (const Interval& one : writing) {
        if (one.end > 0)
            pictureTimes.append(one.end - one.begin);
    }
    std::sort(pictureTimes.begin(), pictureTimes.end());
    const auto slow = int(times.end() - std::upper_bound(times.begin(), times.end(), kAnswerLimit));
    report.figures[QStringLiteral("answers")] = QJsonObject{
        {QStringLiteral("asked"), times.size()},
        {QStringLiteral("p50 ms"), percentile(times, 0.5)},
        {QStringLiteral("p95 ms"), percentile(times, 0.95)},
        {QStringLiteral("max ms"), percentile(times, 1)},
        {QStringLiteral("max ms, pictures included"), percentile(held, 1)},
        {QStringLiteral("above 2 s"), slow},
    };
    report.figures[QStringLiteral("writing a picture")] = QJsonObject{
        {QStringLiteral("p50 ms"), percentile(pictureTimes, 0.5)},
        {QStringLiteral("p95 ms"), percentile(pictureTimes, 0.95)},
        {QStringLiteral("max ms"), percentile(pictureTimes, 1)},
    };
    const bool isForgiven = options.isShared && slow <= 1 && percentile(times, 1) <= kSharedAnswerLimit;
    if (times.isEmpty() || (slow > 0 && !isForgiven))
        fail(QStringLiteral("The window answered %1 times only after more than 2 s, at worst after %2 ms")
                 .arg(slow)
                 .arg(percentile(times, 1)));
}

void Shift::judgeUsage() {
    const QVector<Usage> samples = usage->samples();
    const Flatness memory = flatness(floors(samples, &Usage::memory));
    const Flatness handles = flatness(floors(samples, &Usage::handles));
    const Flatness threads = flatness(floors(samples, &Usage::threads));
    report.figures[QStringLiteral("memory floor, MB")] = QJsonArray{memory.first, memory.last};
    QJsonArray series;
    for (const double value : floors(samples, &Usage::memory))
        series.append(std::round(value));
    report.figures[QStringLiteral("memory floors, MB")] = series;
    report.figures[QStringLiteral("handles floor")] = QJsonArray{handles.first, handles.last};
    report.figures[QStringLiteral("threads floor")] = QJsonArray{threads.first, threads.last};
    const auto judge = [&](const char* what, const Flatness& value, double limit) {
        if (value.last > value.first + limit)
            fail(QStringLiteral("%1 grew from %2 to %3")
                     .arg(QLatin1String(what))
                     .arg(value.first)
                     .arg(value.last));
    };
    judge("Memory", memory, length < kShort ? kShortGrowth : kMemoryGrowth);
    judge("Open handles", handles, kHandleGrowth);
    judge("Threads", threads, kThreadGrowth);
}

void Shift::judgePictures() {
    const auto judge = [&](const char* what, const PictureStore::Counts& counts) {
        report.figures[QLatin1String(what)] = QJsonObject{{QStringLiteral("commanded"), counts.commanded},
                                                          {QStringLiteral("found"), counts.found},
                                                          {QStringLiteral("missing"), counts.missing},
                                                          {QStringLiteral("surplus"), counts.surplus}};
        if (counts.missing > 0 || counts.found != counts.commanded)
            fail(QStringLiteral("%1: %2 commanded, %3 found, %4 missing, %5 nobody asked for")
                     .arg(QLatin1String(what))
                     .arg(counts.commanded)
                     .arg(counts.found)
                     .arg(counts.missing)
                     .arg(counts.surplus));
    };
    judge("pictures by time", pictures->snapshots());
    judge("pictures by barcode", pictures->named());
    if (pictures->snapshots().missing > 0 || pictures->named().missing > 0)
        report.figures[QStringLiteral("pictures, diary")] = QJsonArray::fromStringList(pictures->diary());
    report.figures[QStringLiteral("picture sizes")] = QJsonArray::fromStringList(pictures->sizes());
    for (const QString& fault : pictures->faults())
        fail(QStringLiteral("Picture ") + fault);
    report.figures[QStringLiteral("serial deliveries")] = toJson(controller->counts());
    report.figures[QStringLiteral("deliveries behind one not yet taken")] = controller->backlogs();
    if (controller->backlogs() > 0)
        fail(QStringLiteral("%1 deliveries stayed on the line for 2 s").arg(controller->backlogs()));
    report.figures[QStringLiteral("actions")] = toJson(person->counts());
    for (const QString& action : person->unseen())
        fail(QStringLiteral("No effect was seen of: ") + action);
}

void Shift::judgeSettings() {
    report.figures[QStringLiteral("setting.ini")] =
        QJsonObject{{QStringLiteral("written"), folder->settingsWritten()},
                    {QStringLiteral("read"), folder->settingsRead()},
                    {QStringLiteral("faults"), folder->faults().size()}};
    for (const QString& fault : folder->faults())
        fail(QStringLiteral("setting.ini: ") + fault);
}

/// A line for every frame that was dropped is too many; one now and then with their number is not.
void Shift::judgeLog() {
    QFile log(workplace.logFile());
    if (!log.open(QIODevice::ReadOnly)) {
        fail(QStringLiteral("There is no log"));
        return;
    }
    QMap<QString, int> kinds;
    double unasked = 0;
    while (!log.atEnd()) {
        const QString line = QString::fromUtf8(log.readLine()).trimmed();
        ++kinds[kindOf(line)];
        const bool isForgiven = options.isGentle && line == QLatin1String("drop");
        unasked += isAskedFor(line) || isForgiven ? 0 : 1;
    }
    const double limit = kLinesAtOnce + kLinesPerHour * length / 3.6e6;
    report.figures[QStringLiteral("log lines")] = toJson(kinds);
    report.figures[QStringLiteral("log lines nobody asked for")] = unasked;
    report.figures[QStringLiteral("log lines nobody asked for, limit")] = limit;
    if (unasked > limit)
        fail(QStringLiteral("The log has %1 lines that no action asked for; the limit is %2")
                 .arg(unasked)
                 .arg(limit, 0, 'f', 0));
}

}  // namespace

Report runShift(const ShiftOptions& options) {
    return Shift(options).run();
}
