// SPDX-License-Identifier: Apache-2.0
#include "camerareport.h"

#include <arv.h>

#include <QMap>
#include <QtAlgorithms>
#include <QStringList>

#include <algorithm>
#include <cmath>

#include "camerafeatures.h"
#include "mapping.h"

namespace kvgen {

namespace {

constexpr int kLabel = 14;       // characters in front of what a line says
constexpr int kLine = 108;       // characters
constexpr double kShare = 0.92;  // of a link that pictures can use: 115 MB/s of 1 Gbit/s

/// An error that is looked at or forgotten, and freed.
class Error {
public:
    ~Error() { g_clear_error(&error_); }
    GError** out() {
        g_clear_error(&error_);
        return &error_;
    }
    bool isSet() const { return error_ != nullptr; }
    QString text() const { return error_ ? QString::fromUtf8(error_->message).simplified() : QString(); }

private:
    GError* error_ = nullptr;
};

/// The entries of an enumeration that can be chosen; none where there is no such feature.
QList<QByteArray> entriesOf(ArvCamera* camera, const char* feature) {
    Error error;
    guint count = 0;
    // The texts stay Aravis's, the list is ours.
    const char** names =
        arv_camera_dup_available_enumerations_as_strings(camera, feature, &count, error.out());
    QList<QByteArray> result;
    for (guint i = 0; names && i < count; ++i)
        result.append(names[i]);
    g_free(names);
    return result;
}

double resultingRate(ArvCamera* camera) {
    Error error;
    for (const char* name :
         {"ResultingFrameRate", "AcquisitionResultingFrameRate", "ResultingFrameRateAbs"}) {
        if (!arv_camera_is_feature_available(camera, name, error.out()) || error.isSet())
            continue;
        const double rate = arv_camera_get_float(camera, name, error.out());
        if (!error.isSet() && rate > 0)
            return rate;
    }
    const double rate = arv_camera_get_frame_rate(camera, error.out());
    return error.isSet() || !std::isfinite(rate) ? 0 : rate;
}

void readFrames(ArvCamera* camera, CameraReport& report) {
    Error error;
    gint x = 0, y = 0, width = 0, height = 0;
    arv_camera_get_sensor_size(camera, &width, &height, error.out());
    if (!error.isSet())
        report.full = QSize(width, height);
    arv_camera_get_region(camera, &x, &y, &width, &height, error.out());
    if (!error.isSet())
        report.now = QSize(width, height);
    report.formats = entriesOf(camera, "PixelFormat");
    const char* format = arv_camera_get_pixel_format_as_string(camera, error.out());
    if (!error.isSet())
        report.format = format;
    const guint payload = arv_camera_get_payload(camera, error.out());
    if (!error.isSet())
        report.payload = payload;
    report.rate = resultingRate(camera);
    if (arv_camera_is_gv_device(camera)) {
        const guint packet = arv_camera_gv_get_packet_size(camera, error.out());
        if (!error.isSet())
            report.packetSize = int(packet);
    }
}

void readParameters(ArvCamera* camera, CameraReport& report) {
    CameraFeatures features(camera, CameraConfiguration());
    for (const Mapping& mapping : mappings()) {
        if (features.has(mapping.parameter)) {
            report.parameters.append({mapping.name, features.featureOf(mapping.parameter)});
        } else {
            report.lacking.append(mapping.name);
            if (mapping.canBeDoneInLibrary)
                report.inLibrary.append(mapping.name);
        }
    }
    const QList<QByteArray> sources = entriesOf(camera, "TriggerSource");
    for (const QByteArray& source : sources) {
        if (source == "Software")
            report.softwareTrigger = true;
        else if (source.startsWith("Line"))
            report.triggerLines.append(source);
    }
    report.userSets = entriesOf(camera, "UserSetSelector");
}

QString joined(const QList<QByteArray>& names) {
    QStringList texts;
    for (const QByteArray& name : names)
        texts.append(QString::fromUtf8(name));
    return texts.join(QLatin1String(", "));
}

/// As a value in an INI file, where much of what a serial number may have means something.
QString quoted(const QByteArray& serial) {
    QString text = QString::fromLatin1(serial);
    text.replace(QLatin1Char('\\'), QLatin1String("\\\\")).replace(QLatin1Char('"'), QLatin1String("\\\""));
    const bool isPlain = std::all_of(serial.begin(), serial.end(), [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '-';
    });
    return isPlain ? text : QLatin1Char('"') + text + QLatin1Char('"');
}

/// "  label       text", the text broken at blanks.
QString line(const char* label, const QString& text) {
    QString result = QLatin1String("  ") + QString::fromLatin1(label).leftJustified(kLabel - 2);
    int column = kLabel;
    bool first = true;
    for (const QString& word : text.split(QLatin1Char(' '))) {
        if (!first && column + 1 + word.size() > kLine) {
            result += QLatin1Char('\n') + QString(kLabel, QLatin1Char(' '));
            column = kLabel;
        } else if (!first) {
            result += QLatin1Char(' ');
            ++column;
        }
        result += word;
        column += word.size();
        first = false;
    }
    return result + QLatin1Char('\n');
}

QString size(const QSize& size) {
    return QStringLiteral("%1 x %2 px").arg(size.width()).arg(size.height());
}

QString megabytes(double bytes) {
    return QStringLiteral("%1 MB").arg(bytes / 1e6, 0, 'f', bytes < 1e7 ? 1 : 0);
}

QString dotted(uint32_t address) {
    return QStringLiteral("%1.%2.%3.%4")
        .arg(address >> 24)
        .arg(address >> 16 & 255)
        .arg(address >> 8 & 255)
        .arg(address & 255);
}

/// The one whose subnet has the address.
std::optional<LocalAddress> localFor(const QByteArray& camera, const QVector<LocalAddress>& locals) {
    const std::optional<uint32_t> address = ipv4Of(camera);
    for (const LocalAddress& local : locals) {
        if (address && ((local.address ^ *address) & local.mask) == 0)
            return local;
    }
    return std::nullopt;
}

QString where(const CameraReport& report) {
    if (report.found.address.isEmpty())
        return QStringLiteral("USB, %1").arg(QString::fromUtf8(report.found.name));
    const QString address = QString::fromLatin1(report.found.address);
    if (!report.local)
        return QStringLiteral("%1, in no subnet of this machine").arg(address);
    const NetworkInterface& network = report.local->network;
    QString text = QStringLiteral("%1, by %2 (%3, MTU %4")
                       .arg(address, QString::fromUtf8(network.name), dotted(report.local->address),
                            QString::number(network.mtu));
    if (network.linkSpeed > 0)
        text += QStringLiteral(", %1 Mbit/s").arg(network.linkSpeed / 1'000'000);
    return text + QLatin1Char(')');
}

QString stateText(const CameraReport& report) {
    switch (report.state) {
        case CameraReport::State::Free:
            return QStringLiteral("free");
        case CameraReport::State::Held:
            return QStringLiteral(
                "held by another program; it was left alone. End that program, or wait some seconds if it "
                "was killed, and look again");
        case CameraReport::State::Silent:
            return QStringLiteral(
                "does not answer. Is a firewall in between, is the address somebody else's?");
        case CameraReport::State::OtherSubnet:
            return QStringLiteral(
                "cannot be reached: give the camera an address in one of this machine's subnets, or an "
                "interface of this machine one in the camera's");
        case CameraReport::State::Refused:
            return QStringLiteral("cannot be opened: %1").arg(report.trouble);
    }
    return QString();
}

QString parametersText(const CameraReport& report) {
    QStringList texts;
    for (const auto& [name, feature] : report.parameters) {
        const QString ours = QString::fromLatin1(name);
        const QString theirs = QString::fromLatin1(feature);
        texts.append(theirs.isEmpty() || ours == theirs ? ours : QStringLiteral("%1 (%2)").arg(ours, theirs));
    }
    return texts.isEmpty() ? QStringLiteral("none of ours") : texts.join(QLatin1String(", "));
}

/// What the cameras of one link send together.
struct Link {
    double bandwidth = 0;  // bytes a second
    int64_t speed = 0;     // bit/s, 0 = not known
    int cameras = 0;
    int unknown = 0;
    double share() const { return kShare / 8 * double(speed > 0 ? speed : 1'000'000'000); }
};

QMap<QByteArray, Link> linksOf(const QVector<CameraReport>& reports) {
    QMap<QByteArray, Link> links;
    for (const CameraReport& report : reports) {
        if (!report.local || report.local->network.isLoopback)
            continue;
        Link& link = links[report.local->network.name];
        link.speed = report.local->network.linkSpeed;
        ++link.cameras;
        link.bandwidth += report.bandwidth();
        link.unknown += report.bandwidth() > 0 ? 0 : 1;
    }
    return links;
}

}  // namespace

CameraReport examined(const Found& found, const QVector<LocalAddress>& locals) {
    CameraReport report;
    report.found = found;
    report.model = found.model;
    if (!found.address.isEmpty()) {
        report.local = localFor(found.address, locals);
        const Look look = lookAt(found.address);
        if (!look.answers)
            report.state = report.local ? CameraReport::State::Silent : CameraReport::State::OtherSubnet;
        else if (look.isHeld)
            report.state = CameraReport::State::Held;
        if (report.found.serial.isEmpty())
            report.found.serial = look.serial;
        if (report.state != CameraReport::State::Free)
            return report;
    }
    Error error;
    const QByteArray name = found.address.isEmpty() ? found.name : found.address;
    ArvCamera* camera = arv_camera_new(name.constData(), error.out());
    if (!camera) {
        report.state = CameraReport::State::Refused;
        report.trouble = error.text();
        return report;
    }
    // Opening has taken control and read the description, which cannot be had without. The rest needs none,
    // and the camera is somebody else's at any time.
    if (arv_camera_is_gv_device(camera))
        arv_gv_device_leave_control(ARV_GV_DEVICE(arv_camera_get_device(camera)), error.out());
    // Where one fails, what it points to has no end.
    const auto told = [&](const char* (*get)(ArvCamera*, GError**)) {
        const char* const text = get(camera, error.out());
        return error.isSet() ? QByteArray() : QByteArray(text);
    };
    report.vendor = told(arv_camera_get_vendor_name);
    if (report.model.isEmpty())
        report.model = told(arv_camera_get_model_name);
    if (found.serial.isEmpty())
        report.found.serial = told(arv_camera_get_device_serial_number);
    readFrames(camera, report);
    readParameters(camera, report);
    g_object_unref(camera);
    return report;
}

QString asText(const CameraReport& report) {
    const QString serial =
        report.shown.isEmpty() ? QStringLiteral("(no serial number)") : QString::fromUtf8(report.shown);
    QString text = QStringLiteral("Camera %1: %2\n").arg(report.index).arg(serial);
    QString model = QString::fromUtf8(report.vendor + ' ' + report.model).simplified();
    if (!report.found.serial.isEmpty() && report.found.serial != report.shown)
        model += QStringLiteral(", serial number %1").arg(QString::fromUtf8(report.found.serial));
    text += line("model", model.isEmpty() ? QStringLiteral("not told") : model);
    text += line("address", where(report));
    text += line("control", stateText(report));
    if (report.state != CameraReport::State::Free)
        return text;
    text += line("size", QStringLiteral("%1 full, %2 now").arg(size(report.full), size(report.now)));
    text +=
        line("formats",
             QStringLiteral("%1; now %2").arg(joined(report.formats), QString::fromLatin1(report.format)));
    QString frames = QStringLiteral("%1 each").arg(megabytes(double(report.payload)));
    if (report.rate > 0)
        frames += QStringLiteral(", %1 a second: %2/s")
                      .arg(report.rate, 0, 'f', 1)
                      .arg(megabytes(report.bandwidth()));
    if (report.packetSize > 0)
        frames += QStringLiteral(", packets of %1 bytes now").arg(report.packetSize);
    text += line("frames", frames);
    text += line("parameters", parametersText(report));
    if (!report.lacking.isEmpty())
        text += line("lacks", joined(report.lacking));
    if (!report.inLibrary.isEmpty())
        text += line("", QStringLiteral("of these the library can do itself (InLibrary): %1")
                             .arg(joined(report.inLibrary)));
    QStringList trigger;
    if (report.softwareTrigger)
        trigger.append(QStringLiteral("Software"));
    if (!report.triggerLines.isEmpty())
        trigger.append(joined(report.triggerLines));
    text += line("triggers", trigger.isEmpty() ? QStringLiteral("none") : trigger.join(QLatin1String(", ")));
    text +=
        line("slots", report.userSets.isEmpty() ? QStringLiteral("kept in a file") : joined(report.userSets));
    return text;
}

QString linksAsText(const QVector<CameraReport>& reports) {
    QString text;
    const QMap<QByteArray, Link> links = linksOf(reports);
    for (auto it = links.cbegin(); it != links.cend(); ++it) {
        const Link& link = it.value();
        const QString name = QString::fromUtf8(it.key());
        text += QStringLiteral("%1: %2 %3, together %4/s of about %5/s%6\n")
                    .arg(name)
                    .arg(link.cameras)
                    .arg(QLatin1String(link.cameras == 1 ? "camera" : "cameras"))
                    .arg(megabytes(link.bandwidth), megabytes(link.share()))
                    .arg(link.unknown > 0 ? QStringLiteral(" (%1 not known)").arg(link.unknown) : QString());
        if (link.bandwidth > link.share())
            text += QStringLiteral(
                "  That is more than the link carries: lower FrameRate, or take smaller pictures or a "
                "faster link.\n");
    }
    return text;
}

QString asConfiguration(const QVector<CameraReport>& reports, const QString& program) {
    const QMap<QByteArray, Link> links = linksOf(reports);
    QStringList names;
    for (const CameraReport& report : reports)
        names.append(QString::fromUtf8(report.found.name));
    QString text = QStringLiteral(
                       "; kvcap2-genicam.ini, for the working folder. Made by %1; a line behind a semicolon "
                       "does nothing.\n"
                       "[Library]\n"
                       "; These cameras, in this order; nothing else is looked for. Without the line all "
                       "cameras are, by serial number.\n"
                       "Addresses=%2\n"
                       "\n"
                       "[Camera]\n"
                       ";PacketSize=1500\n"
                       ";SocketBuffer=8388608\n")
                       .arg(program, names.join(QLatin1String(", ")));
    for (const CameraReport& report : reports) {
        text += QStringLiteral("\n[Camera%1]\n; %2\n")
                    .arg(report.index)
                    .arg(QString::fromUtf8(report.shown + ' ' + report.vendor + ' ' + report.model + " at " +
                                           report.found.name)
                             .simplified());
        if (!report.found.serial.isEmpty())
            text += QStringLiteral("Serial=%1\n").arg(quoted(report.found.serial));
        if (report.state != CameraReport::State::Free) {
            text += QStringLiteral("; %1\n").arg(stateText(report));
            continue;
        }
        text += QStringLiteral("; pixel formats: %1\n").arg(joined(report.formats));
        text += QStringLiteral(";PixelFormat=%1\n").arg(QString::fromLatin1(report.format));
        const QByteArray linkName = report.local ? report.local->network.name : QByteArray();
        const Link link = links.value(linkName);
        const double share = link.cameras > 0 ? link.share() / link.cameras : 0;
        if (link.bandwidth > link.share() && link.cameras > 0 && report.bandwidth() > share) {
            text += QStringLiteral(
                        "; as it was set, %1 frames a second, the cameras on %2 send more than the link "
                        "carries\n")
                        .arg(report.rate, 0, 'f', 1)
                        .arg(QString::fromUtf8(linkName));
            text +=
                QStringLiteral("FrameRate=%1\n").arg(std::floor(10 * share / double(report.payload)) / 10);
        } else if (report.rate > 0) {
            text += QStringLiteral(";FrameRate=%1\n").arg(report.rate, 0, 'f', 1);
        }
        if (!report.triggerLines.isEmpty())
            text +=
                QStringLiteral(";TriggerSource=%1\n").arg(QString::fromLatin1(report.triggerLines.first()));
    }
    return text;
}

QString asText(const QVector<LocalAddress>& locals) {
    QStringList texts;
    for (const LocalAddress& local : locals)
        texts.append(QStringLiteral("%1 %2/%3")
                         .arg(QString::fromUtf8(local.network.name), dotted(local.address))
                         .arg(qPopulationCount(local.mask)));
    return line("",
                QStringLiteral("This machine: %1")
                    .arg(texts.isEmpty() ? QStringLiteral("no address") : texts.join(QLatin1String(", "))))
               .trimmed() +
           QLatin1Char('\n');
}

QString whatToCheck(const QVector<LocalAddress>& locals) {
    return QStringLiteral(
               "No camera answers. What to look at, in this order:\n"
               "  1. Has the camera power, does its lamp say that there is a link? It may take a minute to "
               "start.\n"
               "  2. Is the cable in a port of this machine (or of its switch) that is up and has an "
               "address?\n     ") +
           asText(locals) +
           QStringLiteral(
               "  3. Is another program's firewall in between? Cameras answer by UDP, from port 3956.\n"
               "  4. Do you know the camera's address? The option --addresses ADDRESS asks it alone, "
               "without a\n"
               "     search; it has to be in a subnet of this machine.\n"
               "  5. USB: may you open it? On Linux the rule 70-bivista-cameras.rules gives access to\n"
               "     whoever sits at this machine: the package bivista-genicam has set it, so plug the\n"
               "     camera in again; who built Bivista finds it in packaging/linux. On Windows the\n"
               "     camera needs the driver WinUSB.\n"
               "  genicam.md tells more. On Debian it is in /usr/share/doc/bivista-genicam, on Windows\n"
               "  in lib\\genicam, in the sources in docs.\n");
}

}  // namespace kvgen
