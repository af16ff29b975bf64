// SPDX-License-Identifier: Apache-2.0
// What there is to know of the GenICam cameras that this machine sees, for the first minute with a new one.
// Changes nothing in any of them.
#include <arv.h>

#include <QCoreApplication>
#include <QFileInfo>
#include <QStringList>

#include <cstdio>

#include "camerareport.h"
#include "configuration.h"
#include "discovery.h"
#include "glibmessages.h"

namespace {

constexpr int kFound = 0;
constexpr int kNone = 1;
constexpr int kUsage = 2;

constexpr char kHelp[] =
    " [--addresses ADDRESS,...] [--ini]\n"
    "  Lists the GigE Vision and USB3 Vision cameras that this machine sees, and what each has, in the "
    "order\n"
    "  that Bivista takes them in where its configuration has no Addresses.\n"
    "  Nothing in them is changed; a camera that another program holds is left alone. While a free one's\n"
    "  description is read, another program that wants to open it is refused.\n"
    "    --addresses A,B   asks only these (IP addresses or device names), without a search\n"
    "    --ini             prints a kvcap2-genicam.ini for them instead; best with Bivista closed and all "
    "cameras on\n"
    "  Ends with 0 when there is a camera, with 1 when there is none, with 2 when the options are wrong.\n";

void print(FILE* to, const QString& text) {
    std::fputs(text.toUtf8().constData(), to);
}

/// What it was started as: a package may give it another name than this one.
QString programName() {
    QString name = QFileInfo(QCoreApplication::arguments().value(0)).fileName();
    if (name.endsWith(QLatin1String(".exe"), Qt::CaseInsensitive))
        name.chop(4);
    return name.isEmpty() ? QStringLiteral("list-cameras") : name;
}

struct Options {
    QStringList addresses;
    bool isIni = false;
    bool isHelp = false;
    QString wrong;
};

Options optionsOf(const QStringList& arguments) {
    Options options;
    const QLatin1String addresses("--addresses");
    for (int i = 1; i < arguments.size(); ++i) {
        const QString& argument = arguments[i];
        QString list;
        if (argument == QLatin1String("--ini")) {
            options.isIni = true;
            continue;
        }
        if (argument == QLatin1String("--help") || argument == QLatin1String("-h")) {
            options.isHelp = true;
            continue;
        }
        if (argument == addresses && i + 1 < arguments.size())
            list = arguments[++i];
        else if (argument.startsWith(addresses + QLatin1Char('=')))
            list = argument.mid(addresses.size() + 1);
        else
            options.wrong = argument;
        for (const QString& address : list.split(QLatin1Char(','), Qt::SkipEmptyParts))
            options.addresses.append(address.trimmed());
    }
    return options;
}

}  // namespace

int main(int argc, char* argv[]) {
    const QCoreApplication application(argc, argv);
    const Options options = optionsOf(QCoreApplication::arguments());
    const QString program = programName();
    const QString help = program + QString::fromLatin1(kHelp);
    if (options.isHelp) {
        print(stdout, help);
        return kFound;
    }
    if (!options.wrong.isEmpty()) {
        print(stderr, QStringLiteral("%1: what is \"%2\"?\n").arg(program, options.wrong) + help);
        return kUsage;
    }
    // What the library would write into a log stands in the list, in more words.
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext&, const QString&) {});
    kvgen::takeMessages(kvgen::kNoCamera);
    kvgen::Configuration configuration;
    configuration.addresses = options.addresses;
    const auto locals = kvgen::localAddresses();
    QVector<kvgen::CameraReport> reports;
    QVector<QByteArray> serials;
    bool isAnyThere = false;
    for (const kvgen::Found& found : kvgen::findCameras(configuration)) {
        reports.append(kvgen::examined(found, locals));
        reports.last().index = reports.size() - 1;
        serials.append(reports.last().found.serial);
        // An address alone is no camera yet; what a search has found is one, wherever it is.
        isAnyThere = isAnyThere || options.addresses.isEmpty() || reports.last().answers();
    }
    serials = kvgen::distinctSerials(serials);
    for (int i = 0; i < reports.size(); ++i)
        reports[i].shown = serials[i];

    QString text;
    if (options.isIni) {
        if (isAnyThere)
            print(stdout, kvgen::asConfiguration(reports, program));
    } else {
        for (const kvgen::CameraReport& report : qAsConst(reports))
            text += kvgen::asText(report) + QLatin1Char('\n');
        text += kvgen::linksAsText(reports);
        if (!reports.isEmpty())
            text += kvgen::asText(locals);
        print(stdout, text);
    }
    if (!isAnyThere)
        print(stderr, kvgen::whatToCheck(locals));
    return isAnyThere ? kFound : kNone;
}
