// SPDX-License-Identifier: Apache-2.0
#include "fakeoptions.h"

#include <QCommandLineParser>
#include <QTextStream>

#include <cstdlib>

namespace fake {

namespace {

const QStringList kFeatures{"exposure",     "gain",       "gamma",    "blacklevel",    "mirrors",
                            "autoexposure", "autogain",   "aetarget", "aetarget-grey", "aetarget-percent",
                            "digitalshift", "saturation", "userset",  "framerate",     "binning",
                            "offsets",      "trigger",    "identity", "resultingrate"};
/// Only one of the ways to name a target is in "all", and only one to tell the rate.
const QStringList kNotInAll{"aetarget-grey", "aetarget-percent", "resultingrate"};

/// A camera may refuse what it says it has.
const QStringList kRefusable{"packet-size", "packet-delay", "heartbeat", "format", "width",
                             "offset",      "binning",      "start",     "stop",   "user-set",
                             "trigger",     "gain",         "control"};

[[noreturn]] void refuse(const QString& reason) {
    QTextStream(stderr) << "fake_gige_camera: " << reason << '\n';
    std::exit(2);
}

QSet<QString> featuresOf(const QString& list) {
    QSet<QString> result;
    for (const QString& entry : list.split(',', Qt::SkipEmptyParts)) {
        if (entry == "all") {
            for (const QString& feature : kFeatures) {
                if (!kNotInAll.contains(feature))
                    result.insert(feature);
            }
        } else if (entry == "bare") {
            result.clear();
        } else if (entry.startsWith('-') && kFeatures.contains(entry.mid(1))) {
            result.remove(entry.mid(1));
        } else if (kFeatures.contains(entry)) {
            result.insert(entry);
        } else {
            refuse("unknown feature " + entry + "; there are all, bare, " + kFeatures.join(", "));
        }
    }
    return result;
}

Names namesOf(const QString& name) {
    if (name == "standard")
        return Names::Standard;
    if (name == "abs")
        return Names::Abs;
    if (name == "raw")
        return Names::Raw;
    refuse("names are standard, abs or raw");
}

UserSets userSetsOf(const QString& name) {
    if (name == "little")
        return UserSets::Little;
    if (name == "usual")
        return UserSets::Usual;
    if (name == "all")
        return UserSets::All;
    refuse("user sets hold little, usual or all");
}

Master masterOf(const QString& name) {
    if (name == "untold")
        return Master::Untold;
    if (name == "told")
        return Master::Told;
    if (name == "nothing")
        return Master::Nothing;
    refuse("who has control is untold, told or nothing");
}

QStringList refusedOf(const QString& list) {
    const QStringList names = list.split(',', Qt::SkipEmptyParts);
    for (const QString& name : names) {
        if (!kRefusable.contains(name))
            refuse("cannot refuse " + name + ", only " + kRefusable.join(", "));
    }
    return names;
}

}  // namespace

int Format::depth() const {
    if (name.endsWith("10"))
        return 10;
    return name.endsWith("12") ? 12 : 8;
}

int Format::bayerChannel(int x, int y) const {
    // BayerRG: R G over G B. The other letter pairs begin one pixel further right, below, or both.
    const QByteArray phase = name.mid(5, 2);
    const int right = phase == "GR" || phase == "BG" ? 1 : 0;
    const int below = phase == "GB" || phase == "BG" ? 1 : 0;
    return ((x + right) & 1) + ((y + below) & 1);
}

const QVector<Format>& formats() {
    static const QVector<Format> all{
        {"Mono8", 0x01080001},     {"Mono10", 0x01100003},    {"Mono12", 0x01100005},
        {"BayerGR8", 0x01080008},  {"BayerRG8", 0x01080009},  {"BayerGB8", 0x0108000A},
        {"BayerBG8", 0x0108000B},  {"BayerGR10", 0x0110000C}, {"BayerRG10", 0x0110000D},
        {"BayerGB10", 0x0110000E}, {"BayerBG10", 0x0110000F}, {"BayerGR12", 0x01100010},
        {"BayerRG12", 0x01100011}, {"BayerGB12", 0x01100012}, {"BayerBG12", 0x01100013},
        {"RGB8", 0x02180014},      {"BGR8", 0x02180015}};
    return all;
}

const Format* formatOf(const QByteArray& name) {
    for (const Format& format : formats()) {
        if (format.name == name)
            return &format;
    }
    return nullptr;
}

const Format* formatOf(uint32_t code) {
    for (const Format& format : formats()) {
        if (format.code == code)
            return &format;
    }
    return nullptr;
}

const Format& shifted(const Format& bayer, bool byColumn, bool byRow) {
    for (const Format& format : formats()) {
        if (format.isBayer() && format.depth() == bayer.depth() &&
            format.bayerChannel(0, 0) == bayer.bayerChannel(byColumn, byRow) &&
            format.bayerChannel(1, 0) == bayer.bayerChannel(byColumn + 1, byRow))
            return format;
    }
    return bayer;
}

Options readOptions(const QStringList& arguments) {
    Options options;
    QCommandLineParser parser;
    parser.setApplicationDescription("One GigE Vision camera on a loopback address.");
    parser.addHelpOption();
    const auto add = [&parser](const char* name, const char* what, const QString& value) {
        parser.addOption({QString(name), QString(what), QStringLiteral("value"), value});
    };
    add("address", "address that it answers on", options.address);
    add("serial", "serial number, at most 15 bytes", options.serial);
    add("model", "model name, at most 31 bytes", options.model);
    add("width", "of the sensor, px", QString::number(options.width));
    add("height", "of the sensor, px", QString::number(options.height));
    add("rate", "frames a second at first", "25");
    add("fastest-rate", "frames a second that can be set, default twice the rate", "0");
    add("format", "pixel formats, the first one at first: Mono8,BayerRG8,RGB8,BGR8,Mono12, ...", "Mono8");
    add("features", "all, bare or a list; -name takes one away: " + kFeatures.join(",").toLatin1(), "all");
    add("names", "standard, abs or raw", "standard");
    parser.addOption({"raw-names", "as --names abs"});
    add("scene", "number of the scene that it sees", "0");
    parser.addOption({"mirror-changes-phase", "mirroring moves the Bayer pattern, and PixelFormat says so"});
    add("exposure", "at first, us", "10000");
    add("loss", "share of packets that are lost, 0 to 1", "0");
    add("slow-answers", "ms before each answer about gain, exposure and the like", "0");
    add("line-rate", "pulses a second on Line1", "0");
    add("xml-file", "description of the camera instead of its own", QString());
    add("garbage-size", "what Width says, such as 0 or 2147483648", "-1");
    add("sent-width", "width of the frames, whatever Width says", "0");
    parser.addOption({"left-behind", "AcquisitionStart is triggered, and the exposure by a line"});
    add("user-sets",
        "what they hold: little (exposure and gain), usual, all (also trigger, size and packets)", "usual");
    add("locked", "what cannot be written while it streams: mirrors,gain", QString());
    parser.addOption({"silent-lock", "mirrors refuse to be written while it streams, and do not say so"});
    parser.addOption({"no-frames", "answers, and sends none"});
    add("tells-master", "who has control: untold, told, or nothing, where the registers for it say 0",
        "untold");
    add("refuses", "what cannot be written: " + kRefusable.join(",").toLatin1(), QString());
    add("trouble-file",
        "what cannot be written as long as it stands there; NAME!: from the next such write on no answers; "
        "NAME?: none to such a write",
        QString());
    add("payload", "what PayloadSize says", "-1");
    add("refuse-at", "the request that it refuses, counted from the first one that takes control", "0");
    add("silent-at", "the request from which on it does not answer for a while, counted so", "0");
    add("silent-for", "that while, ms", QString::number(options.silentFor));
    parser.addOption({"test-packets", "sends test packets, but for those of the first size that is tested"});
    add("seconds", "until it ends by itself", QString::number(options.seconds));
    parser.addOption({"stamp-time", "the lower stamp is the time, steady ms"});
    parser.process(arguments);

    options.address = parser.value("address");
    options.serial = parser.value("serial").toLatin1();
    options.model = parser.value("model").toLatin1();
    options.width = parser.value("width").toInt();
    options.height = parser.value("height").toInt();
    options.rate = parser.value("rate").toDouble();
    options.fastestRate = parser.value("fastest-rate").toDouble();
    options.features = featuresOf(parser.value("features"));
    options.names = namesOf(parser.isSet("raw-names") ? QStringLiteral("abs") : parser.value("names"));
    options.scene = parser.value("scene").toUInt();
    options.mirrorChangesPhase = parser.isSet("mirror-changes-phase");
    options.exposure = parser.value("exposure").toDouble();
    options.loss = parser.value("loss").toDouble();
    options.slowAnswers = parser.value("slow-answers").toInt();
    options.lineRate = parser.value("line-rate").toDouble();
    options.xmlFile = parser.value("xml-file");
    options.garbageSize = parser.value("garbage-size").toLongLong();
    options.sentWidth = parser.value("sent-width").toInt();
    options.isLeftBehind = parser.isSet("left-behind");
    options.userSets = userSetsOf(parser.value("user-sets"));
    options.locked = parser.value("locked").split(',', Qt::SkipEmptyParts);
    options.hasSilentLock = parser.isSet("silent-lock");
    options.sendsNothing = parser.isSet("no-frames");
    options.master = masterOf(parser.value("tells-master"));
    options.refused = refusedOf(parser.value("refuses"));
    options.troubleFile = parser.value("trouble-file");
    options.saidPayload = parser.value("payload").toLongLong();
    options.refusesAt = parser.value("refuse-at").toInt();
    options.silentAt = parser.value("silent-at").toInt();
    options.silentFor = parser.value("silent-for").toInt();
    options.hasTestPackets = parser.isSet("test-packets");
    options.seconds = parser.value("seconds").toInt();
    options.stampsTime = parser.isSet("stamp-time");
    options.formats.clear();
    for (const QString& name : parser.value("format").split(',', Qt::SkipEmptyParts)) {
        if (!formatOf(name.toLatin1()))
            refuse("unknown pixel format " + name);
        options.formats.append(name.toLatin1());
    }
    if (options.formats.isEmpty() || options.width < 4 || options.height < 4 || options.width > 8192 ||
        options.height > 8192 || options.rate <= 0 || options.serial.isEmpty() ||
        options.serial.size() > 15 || options.model.size() > 31 || options.seconds <= 0)
        refuse("a size, rate, serial number, format or time that no camera has");
    if (options.fastestRate < options.rate)
        options.fastestRate = 2 * options.rate;
    return options;
}

}  // namespace fake
