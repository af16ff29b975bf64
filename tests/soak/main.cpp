// SPDX-License-Identifier: Apache-2.0
// soak [--seconds N] [--seed N] ...   works the real program for a shift
// soak --kills N [--seed N]           kills it N times while it writes
// soak --selftest                     a short one with three faults, each of which has to be found
//
// All need Xvfb, openbox, xdotool and socat. 0: all held; 1: something did not; 2: wrong arguments.

#include <QCommandLineParser>
#include <QCoreApplication>
#include <QTextStream>

#include "soak/kills.h"
#include "soak/shift.h"

namespace {

void print(const QString& text) {
    QTextStream(stdout) << text << Qt::flush;
}

/// Each fault has to be found, and nothing else.
int judgeSelfTest(const Report& report) {
    struct Wanted {
        const char* name;
        const char* beginning;
    };
    constexpr Wanted kWanted[] = {{"a picture that was taken away", "pictures by time: "},
                                  {"a torn setting.ini", "setting.ini: "},
                                  {"a program that stood still", "The window answered "}};
    int missed = 0;
    for (const Wanted& wanted : kWanted) {
        const bool isFound =
            std::any_of(report.failures.begin(), report.failures.end(),
                        [&](const QString& one) { return one.startsWith(QLatin1String(wanted.beginning)); });
        print(QStringLiteral("%1: %2\n")
                  .arg(QLatin1String(wanted.name), QLatin1String(isFound ? "found" : "NOT FOUND")));
        missed += isFound ? 0 : 1;
    }
    return missed == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char* argv[]) {
    QCoreApplication application(argc, argv);
    QCommandLineParser parser;
    const auto option = [&](const char* name, const char* text, const char* fallback) {
        parser.addOption(
            {QLatin1String(name), QLatin1String(text), QStringLiteral("value"), QLatin1String(fallback)});
    };
    const auto flag = [&](const char* name, const char* text) {
        parser.addOption({QLatin1String(name), QLatin1String(text)});
    };
    parser.addHelpOption();
    option("seconds", "length of the shift", "180");
    option("seed", "what is done, and when", "1");
    option("width", "px of a frame", "1280");
    option("height", "px of a frame", "720");
    option("rate", "frames a second", "10");
    option("report", "JSON file for the figures", "");
    option("kills", "no shift: so many kills", "0");
    flag("gentle",
         "not a word on the serial line while a picture is being written; dropped frames may fill the log");
    flag("shared", "on a busy machine: one answer may take up to 4 s");
    flag("selftest", "a short shift with three faults, each of which has to be found");
    parser.process(application);
    const auto number = [&](const char* name) { return parser.value(QLatin1String(name)).toInt(); };

    ShiftOptions options;
    options.isSabotaged = parser.isSet(QStringLiteral("selftest"));
    options.seconds = number("seconds");
    options.seed = parser.value(QStringLiteral("seed")).toUInt();
    options.frame = {number("width"), number("height")};
    options.rate = number("rate");
    options.isGentle = parser.isSet(QStringLiteral("gentle")) || options.isSabotaged;
    options.isShared = parser.isSet(QStringLiteral("shared"));
    KillOptions kills;
    kills.kills = number("kills");
    kills.seed = options.seed;
    const Report report = kills.kills > 0 ? runKills(kills) : runShift(options);
    print(report.text());
    const QString problem = report.write(parser.value(QStringLiteral("report")));
    if (!problem.isEmpty())
        print(problem + QLatin1Char('\n'));
    if (options.isSabotaged)
        return judgeSelfTest(report);
    return report.passed() && problem.isEmpty() ? 0 : 1;
}
