// SPDX-License-Identifier: Apache-2.0
#include "soak/kills.h"

#include <QDir>
#include <QFile>
#include <QJsonArray>
#include <QSet>
#include <QThread>
#include <algorithm>
#include <ctime>
#include <fcntl.h>
#include <random>
#include <sys/stat.h>

#include "soak/calibrationset.h"
#include "soak/clock.h"
#include "soak/killer.h"
#include "soak/picturestore.h"
#include "soak/settingstext.h"
#include "soak/workplace.h"

namespace {

constexpr int kCleaning = 5000;  // ms until the left-overs have to be gone after a start
constexpr int kOld = 2 * 3600;   // s: so old they are made; the program leaves what is younger than an hour
constexpr int kMostAfter = 20;   // ms from a temporary file to the kill

constexpr char kOverlay[] = "BarcodeMark=Text #ff0000 1 1 | 60 440 60 440 | 0 yyyy-MM-dd 0 x 1 0 0 0";

enum class Target { Settings, Dialog, Marks, Calibration, Pictures };
constexpr Target kTargets[] = {Target::Settings,    Target::Dialog,      Target::Marks,
                               Target::Calibration, Target::Calibration, Target::Pictures};

QString nameOf(Target target) {
    switch (target) {
        case Target::Settings:
            return QStringLiteral("settings, serial line");
        case Target::Dialog:
            return QStringLiteral("settings, dialog");
        case Target::Marks:
            return QStringLiteral("marks");
        case Target::Calibration:
            return QStringLiteral("calibration");
        case Target::Pictures:
            return QStringLiteral("pictures");
    }
    return {};
}

class Kills {
public:
    explicit Kills(const KillOptions& what)
        : options(what), workplace(what.frame, what.rate), random(what.seed) {}

    Report run();

private:
    bool firstRun();
    bool cycle(int number);
    void prepare();
    void work(Target target, const Killer& killer);
    KillMoment momentFor(Target target);
    void judgeKilled();
    void judgeStarted();
    QStringList leftOvers() const;
    void fail(const QString& text) {
        report.failures.append(QStringLiteral("Kill %1: ").arg(current) + text);
    }
    int number(int first, int last) { return std::uniform_int_distribution<int>(first, last)(random); }
    void count(const QString& what, int by = 1) { counts[what] += by; }

    const KillOptions options;
    Workplace workplace;
    std::mt19937 random;
    Report report;
    QMap<QString, int> counts;
    QVector<QVector<QPointF>> corners;
    QSet<QString> keys;    // that setting.ini has to have
    QSet<QString> delays;  // that may stand there
    QByteArray oldMarks;
    QByteArray newMarks;
    int current = 0;
};

Report Kills::run() {
    const QString problem = workplace.setUp();
    if (!problem.isEmpty() || !firstRun()) {
        fail(QStringLiteral("nothing to kill: ") + problem);
        return report;
    }
    const double begin = nowMs();
    for (current = 1; current <= options.kills; ++current) {
        if (!cycle(current))
            break;
    }
    report.figures[QStringLiteral("kills")] = std::min(current, options.kills);
    report.figures[QStringLiteral("seed")] = double(options.seed);
    report.figures[QStringLiteral("seconds for each")] = (nowMs() - begin) / 1000 / options.kills;
    QJsonObject object;
    for (auto one = counts.begin(); one != counts.end(); ++one)
        object[one.key()] = one.value();
    report.figures[QStringLiteral("counts")] = object;
    return report;
}

/// The simulated cameras tell where their corners are only when they run.
bool Kills::firstRun() {
    const QString problem = workplace.startProgram();
    if (!problem.isEmpty() || workplace.endProgram() != 0) {
        fail(problem);
        return false;
    }
    corners = workplace.corners();
    const auto values = readSettings(workplace.file(QStringLiteral("setting.ini"))).values;
    for (auto value = values.begin(); value != values.end(); ++value) {
        if (!mayVanish(value.key()))
            keys.insert(value.key());
    }
    return corners.size() == 4;
}

/// Temporary files of whatever writes here.
QStringList Kills::leftOvers() const {
    QStringList result;
    for (const QString& folder : {workplace.folder(), workplace.pictures()}) {
        const QDir directory(folder);
        const QStringList names = directory.entryList(
            {QStringLiteral(".bivista-*"), QStringLiteral("setting.ini.*")}, QDir::Files | QDir::Hidden);
        for (const QString& name : names)
            result.append(directory.filePath(name));
    }
    return result;
}

/// What a person or the time does between two runs.
void Kills::prepare() {
    for (const QString& name : leftOvers()) {
        const timespec old{std::time(nullptr) - kOld, 0};
        const timespec times[] = {old, old};
        utimensat(AT_FDCWD, QFile::encodeName(name).constData(), times, 0);
    }
    newMarks = workplace.cornerMarks(current % 7);
    oldMarks = newMarks + "Remark of the old file\r\n";
    workplace.write(QStringLiteral("mark0.txt"), oldMarks);
    QFile settings(workplace.file(QStringLiteral("setting.ini")));
    if (!settings.open(QIODevice::ReadOnly))
        return;
    QList<QByteArray> lines = settings.readAll().split('\n');
    settings.close();
    // That it goes shows that the corners are loaded.
    lines.removeAll(kOverlay);
    lines.insert(lines.indexOf("[File]") + 1, kOverlay);
    for (QByteArray& one : lines) {
        if (one.startsWith("Type="))
            one = "Type=" + QByteArray::number(number(0, 2));
        else if (one.startsWith("Delay="))
            one = "Delay=0";
        else if (one.startsWith("Quality="))
            one = "Quality=50";
    }
    workplace.write(QStringLiteral("setting.ini"), lines.join('\n'));
    delays = {QStringLiteral("0")};
}

bool Kills::cycle(int) {
    prepare();
    const QString problem = workplace.startProgram();
    if (!problem.isEmpty()) {
        fail(QStringLiteral("it did not start again: ") + problem);
        return false;
    }
    judgeStarted();
    const Target target = kTargets[number(0, std::size(kTargets) - 1)];
    count(nameOf(target));
    bool isReady = true;
    if (target == Target::Marks || target == Target::Calibration) {
        const QString key = QStringLiteral("File/BarcodeMark");
        isReady = workplace.choose(Menu::Calibrate, -1) &&
                  workplace.waitFor([&] { return workplace.setting(key).isEmpty(); });
    } else if (target == Target::Dialog) {
        isReady = workplace.choose(Menu::Tools, 1) && workplace.waitForBox() &&
                  workplace.keys({QStringLiteral("ctrl+Tab"), QStringLiteral("Tab"), QStringLiteral("Tab"),
                                  QStringLiteral("Tab")});
    }
    if (!isReady)
        fail(nameOf(target) + QStringLiteral(": the window did not do what was asked of it"));
    {
        const Killer killer(workplace, momentFor(target));
        work(target, killer);
    }
    workplace.waitForKilled();
    judgeKilled();
    return true;
}

KillMoment Kills::momentFor(Target target) {
    KillMoment moment;
    if (number(0, 1) == 0) {
        moment.after = number(0, target == Target::Calibration ? 1200 : 700);
        count(QStringLiteral("by time"));
        return moment;
    }
    count(QStringLiteral("by a temporary file"));
    const bool isSettings = target == Target::Settings || target == Target::Dialog;
    moment.folder = target == Target::Pictures ? workplace.pictures() : workplace.folder();
    moment.beginning = QLatin1String(isSettings ? "setting.ini." : ".bivista-");
    // A calibration makes nine such files, one after the other.
    moment.skip = number(0, target == Target::Calibration ? 12 : 3);
    moment.after = number(0, kMostAfter * 10) / 10.0;
    return moment;
}

void Kills::work(Target target, const Killer& killer) {
    int round = 0;
    while (!killer.hasKilled()) {
        ++round;
        switch (target) {
            case Target::Settings:
                delays.insert(QString::number(round));
                workplace.send("SETDELAY " + QByteArray::number(round));
                QThread::msleep(20);
                break;
            case Target::Dialog:
                workplace.keys({QLatin1String(round % 2 == 0 ? "Left" : "Right")});
                break;
            case Target::Marks:
                workplace.choose(Menu::Calibrate, -2);
                break;
            case Target::Calibration: {
                workplace.choose(Menu::Calibrate, 3);
                workplace.waitFor([&] { return workplace.desktop.activeWindow() != workplace.window(); },
                                  1000);
                const QString cells = QString::number(number(11, 49));
                workplace.keys({cells.left(1), cells.mid(1), QStringLiteral("Return")});
                workplace.waitFor([&] { return workplace.desktop.activeWindow() == workplace.window(); },
                                  1000);
                break;
            }
            case Target::Pictures:
                workplace.send("TRIGGER");
                QThread::msleep(40);
                break;
        }
    }
}

/// Right after the kill: every file is the old or the new one.
void Kills::judgeKilled() {
    const SettingsText settings = readSettings(workplace.file(QStringLiteral("setting.ini")));
    if (!settings.fault.isEmpty())
        fail(QStringLiteral("setting.ini: ") + settings.fault);
    for (const QString& key : qAsConst(keys)) {
        if (!settings.values.contains(key))
            fail(QStringLiteral("setting.ini is without ") + key);
    }
    const QString delay = settings.values.value(QStringLiteral("File/Delay"));
    if (!delays.contains(delay))
        fail(QStringLiteral("setting.ini has a delay that nobody set: ") + delay);

    QFile file(workplace.file(QStringLiteral("mark0.txt")));
    const QByteArray marks = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    if (marks != oldMarks && marks != newMarks)
        fail(QStringLiteral("mark0.txt is neither old nor new (%1 bytes)").arg(marks.size()));
    count(QStringLiteral("new marks"), marks == newMarks ? 1 : 0);

    const bool isUnfinished = QFile::exists(workplace.file(QStringLiteral(".Cal.commit")));
    const CalibrationSet set = readCalibrationSet(workplace.folder(), corners);
    if (!set.fault.isEmpty())
        fail(set.fault);
    if (!set.mixed.isEmpty() && !isUnfinished)
        fail(QStringLiteral("calibration files, and no note of it: ") + set.mixed);
    count(QStringLiteral("calibrations cut off while they were put in place"), isUnfinished ? 1 : 0);
    count(QStringLiteral("calibration files of two runs until the next start"), set.mixed.isEmpty() ? 0 : 1);

    const QDir pictures(workplace.pictures());
    const QStringList names = pictures.entryList(QDir::Files);
    for (const QString& name : names) {
        QSize size;
        const QString fault = pictureFault(pictures.filePath(name), &size);
        if (!fault.isEmpty())
            fail(name + QStringLiteral(": ") + fault);
        count(QStringLiteral("pictures looked at"));
        QFile::remove(pictures.filePath(name));
    }
    const QStringList left = leftOvers();
    count(QStringLiteral("kills that left a temporary file"), left.isEmpty() ? 0 : 1);
    for (const QString& name : left)
        count(name.contains(QStringLiteral(".bivista-")) ? QStringLiteral("left-overs .bivista-*")
              : name.endsWith(QStringLiteral(".lock"))   ? QStringLiteral("left-overs setting.ini.lock")
                                                         : QStringLiteral("left-overs setting.ini.*"));
}

/// What the next start has made of it.
void Kills::judgeStarted() {
    const CalibrationSet set = readCalibrationSet(workplace.folder(), corners);
    if (!set.fault.isEmpty() || !set.mixed.isEmpty())
        fail(QStringLiteral("after the start: ") + set.fault + set.mixed);
    if (QFile::exists(workplace.file(QStringLiteral(".Cal.commit"))))
        fail(QStringLiteral("after the start there still is .Cal.commit"));
    const auto isClean = [this] { return leftOvers().isEmpty(); };
    if (!workplace.waitFor(isClean, kCleaning))
        fail(QStringLiteral("after the start there still are ") + leftOvers().join(QLatin1Char(' ')));
}

}  // namespace

Report runKills(const KillOptions& options) {
    return Kills(options).run();
}
