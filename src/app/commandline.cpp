// SPDX-License-Identifier: Apache-2.0
#include "app/commandline.h"

#include <QCommandLineParser>
#include <QDir>

#include "app/version.h"
#include "platform/process.h"

namespace {

const char kUsage[] =
    R"(Usage: bivista [--folder DIR] [--log FILE] [--version] [--help]

Shows the pictures of up to four cameras as one flat picture.

  --folder DIR   work in the folder DIR instead of the current one: settings,
                 calibration, marks and the log are there
  --log FILE     write the log to FILE
  -v, --version  say which version this is
  -h, --help     say this

Qt's own options, as -platform and -style, are taken too.
)";

constexpr int kBadCommandLine = 2;

/// Without its dashes, one or two of which Qt takes alike, and without the value of "--name=value".
QString nameOf(const QString& argument) {
    return argument.mid(argument.startsWith(QLatin1String("--")) ? 2 : 1).section(QLatin1Char('='), 0, 0);
}

/// What the application object does not take itself. Nobody tells before it is there what that is.
QStringList withoutQtsOwn(const QStringList& arguments) {
    static const QStringList withValue{
        QStringLiteral("display"),       QStringLiteral("geometry"),     QStringLiteral("icon"),
        QStringLiteral("name"),          QStringLiteral("platform"),     QStringLiteral("platformpluginpath"),
        QStringLiteral("platformtheme"), QStringLiteral("plugin"),       QStringLiteral("qwindowgeometry"),
        QStringLiteral("qwindowicon"),   QStringLiteral("qwindowtitle"), QStringLiteral("session"),
        QStringLiteral("style"),         QStringLiteral("stylesheet"),   QStringLiteral("title")};
    static const QStringList alone{QStringLiteral("dograb"), QStringLiteral("nograb"),
                                   QStringLiteral("qmljsdebugger"), QStringLiteral("reverse"),
                                   QStringLiteral("widgetcount")};
    // The name, which may be missing, is for the parser.
    QStringList result{QStringLiteral("bivista")};
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        const bool isOption = argument.startsWith(QLatin1Char('-'));
        if (isOption && withValue.contains(nameOf(argument)))
            i += argument.contains(QLatin1Char('=')) ? 0 : 1;
        else if (!isOption || !alone.contains(nameOf(argument)))
            result.append(argument);
    }
    return result;
}

CommandLine::Answer refusal(const QString& why) {
    return {QStringLiteral("bivista: %1\nbivista --help says what it takes.\n").arg(why), kBadCommandLine};
}

}  // namespace

CommandLine CommandLine::read(int argc, const char* const* argv) {
    return parse(platform::arguments(argc, argv), QDir::currentPath());
}

CommandLine CommandLine::parse(const QStringList& arguments, const QString& startedIn) {
    const QCommandLineOption folderOption(QStringLiteral("folder"), {}, QStringLiteral("DIR"));
    const QCommandLineOption logOption(QStringLiteral("log"), {}, QStringLiteral("FILE"));
    const QCommandLineOption versionOption(QStringList{QStringLiteral("v"), QStringLiteral("version")});
    const QCommandLineOption helpOption(
        QStringList{QStringLiteral("h"), QStringLiteral("help"), QStringLiteral("?")});
    QCommandLineParser parser;
    parser.setSingleDashWordOptionMode(QCommandLineParser::ParseAsLongOptions);
    parser.addOptions({folderOption, logOption, versionOption, helpOption});
    const bool isUnderstood = parser.parse(withoutQtsOwn(arguments));

    CommandLine result;
    if (parser.isSet(versionOption)) {
        result.answer = {QStringLiteral("Bivista %1\n").arg(programVersion()), 0};
        return result;
    }
    if (parser.isSet(helpOption)) {
        result.answer = {QString::fromLatin1(kUsage), 0};
        return result;
    }
    if (!isUnderstood) {
        result.answer = refusal(parser.errorText());
        return result;
    }
    if (!parser.positionalArguments().isEmpty()) {
        result.answer =
            refusal(QStringLiteral("\"%1\" belongs to no option.").arg(parser.positionalArguments().first()));
        return result;
    }
    for (const QCommandLineOption& option : {folderOption, logOption})
        if (parser.isSet(option) && parser.value(option).isEmpty()) {
            result.answer = refusal(QStringLiteral("--%1 has an empty value.").arg(option.names().first()));
            return result;
        }
    const QString log = parser.value(logOption);
    if (startedIn.isEmpty() && !log.isEmpty() && QDir::isRelativePath(log)) {
        result.answer =
            refusal(QStringLiteral("--log %1 is meant relative to a folder that is gone.").arg(log));
        return result;
    }
    result.folder = parser.value(folderOption);
    if (parser.isSet(logOption))
        result.logFile = QDir::cleanPath(QDir(startedIn).absoluteFilePath(log));
    return result;
}

int CommandLine::giveAnswer() const {
    if (!answer)
        return 0;
    platform::tell(answer->code == 0 ? platform::Channel::Output : platform::Channel::Error, answer->text);
    return answer->code;
}
