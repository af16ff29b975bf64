// SPDX-License-Identifier: Apache-2.0
#include "fakexml.h"

#include <QStringList>

#include "fakeregisters.h"

namespace fake {

namespace {

/// Writes nodes and remembers in which category a feature belongs.
class Description {
public:
    void category(const QString& name) {
        category_ = name;
        categories_.append(name);
    }

    void integer(const QString& name, uint32_t address, const QString& limits,
                 const QString& access = QStringLiteral("RW")) {
        feature(name);
        nodes_ += tag("Integer", name, "<pValue>" + name + "Reg</pValue>" + limits);
        nodes_ += integerRegister(name + "Reg", address, access);
    }
    void reckoned(const QString& name, const QString& variables, const QString& formula) {
        feature(name);
        nodes_ += tag("Integer", name, "<pValue>" + name + "Value</pValue>");
        nodes_ += tag("IntSwissKnife", name + "Value", variables + "<Formula>" + formula + "</Formula>");
    }
    void real(const QString& name, uint32_t address, double least, double greatest, const QString& unit,
              const QString& more = QString()) {
        feature(name);
        nodes_ += tag("Float", name,
                      more + "<pValue>" + name + "Reg</pValue>" +
                          QStringLiteral("<Min>%1</Min><Max>%2</Max>").arg(least).arg(greatest) +
                          (unit.isEmpty() ? QString() : "<Unit>" + unit + "</Unit>"));
        nodes_ += tag("FloatReg", name + "Reg", registerBody(address, 8, "RW") + endianness());
    }
    void boolean(const QString& name, uint32_t address, const QString& more = QString()) {
        feature(name);
        nodes_ += tag("Boolean", name,
                      more + "<pValue>" + name + "Reg</pValue><OnValue>1</OnValue><OffValue>0</OffValue>");
        nodes_ += integerRegister(name + "Reg", address, "RW");
    }
    /// Entries "Name=number".
    void enumeration(const QString& name, uint32_t address, const QStringList& entries,
                     const QString& more = QString()) {
        feature(name);
        QString body = more;
        for (const QString& entry : entries) {
            const int equals = entry.indexOf('=');
            body +=
                QStringLiteral("<EnumEntry Name=\"%1\" NameSpace=\"Standard\"><Value>%2</Value></EnumEntry>")
                    .arg(entry.left(equals), entry.mid(equals + 1));
        }
        nodes_ += tag("Enumeration", name, body + "<pValue>" + name + "Reg</pValue>");
        nodes_ += integerRegister(name + "Reg", address, "RW");
    }
    void command(const QString& name, uint32_t address, int value = 1) {
        feature(name);
        nodes_ +=
            tag("Command", name,
                QStringLiteral("<pValue>%1Reg</pValue><CommandValue>%2</CommandValue>").arg(name).arg(value));
        nodes_ += integerRegister(name + "Reg", address, "RW");
    }
    void text(const QString& name, uint32_t address, int length) {
        feature(name);
        nodes_ += tag("StringReg", name, registerBody(address, length, "RO"));
    }
    void add(const QString& name, const QString& nodes) {
        feature(name);
        nodes_ += nodes;
    }
    static QString integerRegister(const QString& name, uint32_t address, const QString& access) {
        return tag("IntReg", name, registerBody(address, 4, access) + "<Sign>Unsigned</Sign>" + endianness());
    }
    static QString tag(const char* kind, const QString& name, const QString& body) {
        return QStringLiteral("<%1 Name=\"%2\">%3</%1>\n").arg(QLatin1String(kind), name, body);
    }

    QByteArray document(const QByteArray& model) const {
        QString root;
        QString categories;
        for (const QString& category : categories_) {
            root += "<pFeature>" + category + "</pFeature>";
            QString body;
            for (const auto& member : members_) {
                if (member.first == category)
                    body += "<pFeature>" + member.second + "</pFeature>";
            }
            categories += tag("Category", category, body);
        }
        return QStringLiteral(
                   "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                   "<RegisterDescription ModelName=\"%1\" VendorName=\"Tests\" StandardNameSpace=\"GEV\" "
                   "SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" "
                   "MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" "
                   "ProductGuid=\"5b0f3c64-3e0a-4cf0-9d5e-0f6c1a1d0001\" "
                   "VersionGuid=\"5b0f3c64-3e0a-4cf0-9d5e-0f6c1a1d0002\" "
                   "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n")
                   .arg(QString::fromLatin1(model).toHtmlEscaped())
                   .toUtf8() +
               (tag("Category", "Root", root) + categories + nodes_ + tag("Port", "Device", QString()) +
                "</RegisterDescription>\n")
                   .toUtf8();
    }

private:
    void feature(const QString& name) { members_.append({category_, name}); }
    static QString registerBody(uint32_t address, int length, const QString& access) {
        return QStringLiteral(
                   "<Address>0x%1</Address><Length>%2</Length><AccessMode>%3</AccessMode>"
                   "<pPort>Device</pPort><Cachable>NoCache</Cachable>")
            .arg(address, 0, 16)
            .arg(length)
            .arg(access);
    }
    static QString endianness() { return QStringLiteral("<Endianess>BigEndian</Endianess>"); }

    QString category_;
    QStringList categories_;
    QVector<QPair<QString, QString>> members_;
    QString nodes_;
};

QString limits(const QString& least, const QString& greatest, int step = 1) {
    return QStringLiteral("<Min>%1</Min>%2<Inc>%3</Inc>").arg(least, greatest).arg(step);
}
QString greatest(int value) {
    return QStringLiteral("<Max>%1</Max>").arg(value);
}

void writeIdentity(Description& xml) {
    xml.category("DeviceControl");
    xml.text("DeviceVendorName", reg::kVendorName, 32);
    xml.text("DeviceModelName", reg::kModelName, 32);
    xml.text("DeviceSerialNumber", reg::kSerialNumber, 16);
}

void writeFormat(Description& xml, const Options& options) {
    const QString locked = QStringLiteral("<pIsLocked>Locked</pIsLocked>");
    const QString free;
    const bool hasRegions = options.has("offsets") || options.has("binning");
    xml.category("ImageFormatControl");
    xml.integer("Width", options.sentWidth > 0 ? reg::kSaidWidth : reg::kWidth,
                locked + limits("4", "<pMax>WidthMax</pMax>", 4));
    xml.integer("Height", reg::kHeight, locked + limits("4", "<pMax>HeightMax</pMax>", 2));
    QStringList entries;
    bool hasBayer = false;
    for (const QByteArray& name : options.formats) {
        entries.append(QStringLiteral("%1=%2").arg(QString::fromLatin1(name)).arg(formatOf(name)->code));
        hasBayer = hasBayer || formatOf(name)->isBayer();
    }
    if (hasBayer && options.mirrorChangesPhase) {
        // What a mirrored picture says has to have a name.
        for (const Format& format : formats()) {
            const QString entry =
                QStringLiteral("%1=%2").arg(QString::fromLatin1(format.name)).arg(format.code);
            if (format.isBayer() && format.depth() == 8 && !entries.contains(entry))
                entries.append(entry);
        }
    }
    xml.enumeration("PixelFormat", reg::kPixelFormat, entries, locked);
    if (options.saidPayload >= 0)
        xml.reckoned("PayloadSize", QString(), QString::number(options.saidPayload));
    else
        xml.reckoned("PayloadSize",
                     "<pVariable Name=\"W\">WidthReg</pVariable><pVariable Name=\"H\">HeightReg</pVariable>"
                     "<pVariable Name=\"F\">PixelFormatReg</pVariable>",
                     "W * H * ((F &gt;&gt; 16) &amp; 255) / 8");
    if (hasRegions) {
        xml.integer("SensorWidth", reg::kSensorWidth, free, "RO");
        xml.integer("SensorHeight", reg::kSensorHeight, free, "RO");
    }
    if (options.has("binning")) {
        const QString step = limits("1", greatest(4));
        xml.integer("BinningHorizontal", reg::kBinningX, locked + step);
        xml.integer("BinningVertical", reg::kBinningY, locked + step);
    }
    // These two are always there: Width and Height need an end.
    for (const QString side : {"Width", "Height"}) {
        const QString axis = side == "Width" ? QStringLiteral("Horizontal") : QStringLiteral("Vertical");
        if (options.has("binning")) {
            xml.reckoned(side + "Max",
                         "<pVariable Name=\"S\">Sensor" + side +
                             "Reg</pVariable><pVariable Name=\"B\">Binning" + axis + "Reg</pVariable>",
                         "S / B");
        } else {
            xml.integer(side + "Max", side == "Width" ? reg::kSensorWidth : reg::kSensorHeight, free, "RO");
        }
    }
    if (options.has("offsets")) {
        for (const QString axis : {"X", "Y"}) {
            const QString side = axis == "X" ? QStringLiteral("Width") : QStringLiteral("Height");
            xml.integer("Offset" + axis, axis == "X" ? reg::kOffsetX : reg::kOffsetY,
                        locked + limits("0", "<pMax>Offset" + axis + "Max</pMax>", 2));
            xml.reckoned("Offset" + axis + "Max",
                         "<pVariable Name=\"M\">" + side + "Max</pVariable><pVariable Name=\"N\">" + side +
                             "Reg</pVariable>",
                         "M - N");
        }
    }
    if (options.has("mirrors")) {
        const QString lock = options.locked.contains("mirrors") ? locked : free;
        xml.boolean("ReverseX", reg::kReverseX, lock);
        xml.boolean("ReverseY", reg::kReverseY, lock);
    }
    // Locked while frames are sent, as real cameras are.
    xml.add("Locked", Description::tag("Integer", "Locked", "<pValue>LockedReg</pValue>") +
                          Description::integerRegister("LockedReg", reg::kAcquisition, "RO"));
}

void writeAcquisition(Description& xml, const Options& options) {
    xml.category("AcquisitionControl");
    xml.enumeration("AcquisitionMode", reg::kAcquisitionMode,
                    {"Continuous=1", "SingleFrame=2", "MultiFrame=3"});
    xml.command("AcquisitionStart", reg::kAcquisition, 1);
    xml.command("AcquisitionStop", reg::kAcquisition, 0);
    if (options.has("framerate")) {
        xml.real(options.names == Names::Standard ? "AcquisitionFrameRate" : "AcquisitionFrameRateAbs",
                 reg::kRate, 0.01, options.fastestRate, "Hz");
        xml.boolean("AcquisitionFrameRateEnable", reg::kRateEnable);
    }
    if (options.has("resultingrate")) {
        xml.add(
            "ResultingFrameRate",
            Description::tag("SwissKnife", "ResultingFrameRate",
                             "<pVariable Name=\"P\">PeriodReg</pVariable><Formula>1000000 / P</Formula>") +
                Description::integerRegister("PeriodReg", reg::kFramePeriod, "RO"));
    }
    if (options.has("exposure")) {
        if (options.names == Names::Standard)
            xml.real("ExposureTime", reg::kExposure, 10, 1000000, "us");
        else if (options.names == Names::Abs)
            xml.real("ExposureTimeAbs", reg::kExposure, 10, 1000000, "us");
        else
            xml.integer("ExposureTimeRaw", reg::kExposureRaw, limits("10", greatest(1000000)));
    }
    if (options.isLeftBehind)
        xml.enumeration("ExposureMode", reg::kExposureMode, {"Off=0", "Timed=1", "TriggerWidth=2"});
    if (options.has("autoexposure"))
        xml.enumeration("ExposureAuto", reg::kExposureAuto, {"Off=0", "Once=1", "Continuous=2"});
    if (options.has("trigger")) {
        xml.enumeration("TriggerSelector", reg::kTriggerSelector,
                        options.isLeftBehind ? QStringList{"AcquisitionStart=1", "FrameStart=0"}
                                             : QStringList{"FrameStart=0"});
        xml.enumeration("TriggerMode", reg::kTriggerMode, {"Off=0", "On=1"});
        xml.enumeration("TriggerSource", reg::kTriggerSource, {"Line0=0", "Software=1", "Line1=2"});
        xml.enumeration("TriggerActivation", reg::kTriggerActivation, {"RisingEdge=0", "FallingEdge=1"});
        xml.command("TriggerSoftware", reg::kTriggerSoftware);
    }
}

void writeAnalog(Description& xml, const Options& options) {
    xml.category("AnalogControl");
    const bool isStandard = options.names == Names::Standard;
    if (options.has("gain")) {
        const QString lock =
            options.locked.contains("gain") ? QStringLiteral("<pIsLocked>Locked</pIsLocked>") : QString();
        xml.enumeration("GainSelector", reg::kGainSelector, {"All=0"});
        if (isStandard)
            xml.real("Gain", reg::kGain, -24, 36, "dB", lock);
        else
            xml.integer("GainRaw", reg::kGainRaw, lock + limits("0", greatest(360)));
    }
    if (options.has("autogain"))
        xml.enumeration("GainAuto", reg::kGainAuto, {"Off=0", "Once=1", "Continuous=2"});
    if (options.has("blacklevel")) {
        xml.enumeration("BlackLevelSelector", reg::kBlackLevelSelector, {"All=0"});
        if (isStandard)
            xml.real("BlackLevel", reg::kBlackLevel, 0, 255, QString());
        else
            xml.integer("BlackLevelRaw", reg::kBlackLevelRaw, limits("0", greatest(255)));
    }
    if (options.has("gamma")) {
        xml.boolean("GammaEnable", reg::kGammaEnable);
        xml.real("Gamma", reg::kGamma, 0.05, 10, QString());
    }
    if (options.has("saturation"))
        xml.real("Saturation", reg::kSaturation, 0, 10, QString());
    if (options.has("digitalshift"))
        xml.integer("DigitalShift", reg::kDigitalShift, limits("0", greatest(4)));
    if (options.has("aetarget"))
        xml.real("AutoTargetBrightness", reg::kBrightness, 0, 1, QString());
    if (options.has("aetarget-grey"))
        xml.integer("AutoExposureTargetGreyValue", reg::kTargetGrey, limits("0", greatest(255)));
    if (options.has("aetarget-percent"))
        xml.integer("AutoTargetValue", reg::kTargetPercent, limits("0", greatest(100)) + "<Unit>%</Unit>");
}

void writeTransport(Description& xml, const Options& options) {
    xml.category("TransportLayerControl");
    xml.integer("TLParamsLocked", reg::kTransportLocked, limits("0", greatest(1)));
    xml.integer("GevHeartbeatTimeout", reg::kHeartbeat, QString());
    xml.integer("GevSCPHostPort", reg::kStreamPort, QString());
    xml.integer("GevSCDA", reg::kStreamAddress, QString());
    xml.integer("GevSCPD", reg::kPacketDelay, QString());
    if (options.hasTestPackets) {
        // One bit of the packet size's register, counted from the highest.
        xml.add("GevSCPSFireTestPacket",
                Description::tag("Boolean", "GevSCPSFireTestPacket",
                                 "<pValue>FireReg</pValue><OnValue>1</OnValue><OffValue>0</OffValue>") +
                    Description::tag("MaskedIntReg", "FireReg",
                                     QStringLiteral("<Address>0x%1</Address><Length>4</Length>"
                                                    "<AccessMode>RW</AccessMode><pPort>Device</pPort>"
                                                    "<Cachable>NoCache</Cachable><Bit>0</Bit>"
                                                    "<Sign>Unsigned</Sign><Endianess>BigEndian</Endianess>")
                                         .arg(reg::kPacketSize, 0, 16)));
    }
}

void writeUserSets(Description& xml) {
    xml.category("UserSetControl");
    xml.enumeration("UserSetSelector", reg::kUserSetSelector,
                    {"Default=0", "UserSet1=1", "UserSet2=2", "UserSet3=3"});
    xml.command("UserSetLoad", reg::kUserSetLoad);
    xml.command("UserSetSave", reg::kUserSetSave);
}

}  // namespace

QByteArray description(const Options& options) {
    Description xml;
    if (options.has("identity"))
        writeIdentity(xml);
    writeFormat(xml, options);
    writeAcquisition(xml, options);
    writeAnalog(xml, options);
    if (!options.features.isEmpty())
        writeTransport(xml, options);
    if (options.has("userset"))
        writeUserSets(xml);
    return xml.document(options.model);
}

}  // namespace fake
