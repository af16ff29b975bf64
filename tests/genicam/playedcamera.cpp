// SPDX-License-Identifier: Apache-2.0
// Before Qt, which takes a word that a header of GLib uses.
#include <arv.h>

#include "playedcamera.h"

#include <QFile>
#include <QtTest>

namespace {

QByteArray tag(const char* name, const QByteArray& content) {
    return content.isEmpty() ? QByteArray() : QByteArray("<") + name + '>' + content + "</" + name + ">";
}

/// An error that no test expects.
class Unexpected {
public:
    ~Unexpected() {
        if (error_ != nullptr)
            QTest::qFail(error_->message, __FILE__, __LINE__);
        g_clear_error(&error_);
    }
    operator GError**() { return &error_; }

private:
    GError* error_ = nullptr;
};

}  // namespace

Description::Description() {
    const auto own = [this](const char* name, const char* address) {
        node("IntReg", name + QByteArray("Register"),
             tag("Address", address) + tag("Length", "4") + tag("AccessMode", "RW") + tag("pPort", "Device") +
                 tag("Endianess", "BigEndian"));
        node("Integer", name,
             tag("pValue", name + QByteArray("Register")) + tag("Min", "1") + tag("Max", "2048"));
        names_ += tag("pFeature", name);
    };
    own("Width", "0x100");
    own("Height", "0x104");
    node("Integer", "PayloadSize", tag("Value", "262144"));
    node("Enumeration", "PixelFormat",
         "<EnumEntry Name=\"Mono8\">" + tag("Value", "17301505") + "</EnumEntry>" + tag("Value", "17301505"));
    names_ += tag("pFeature", "PayloadSize") + tag("pFeature", "PixelFormat");
}

void Description::node(const char* kind, const QByteArray& name, const QByteArray& content) {
    nodes_ += QByteArray("<") + kind + " Name=\"" + name + "\">" + content + "</" + kind + ">\n";
}

void Description::registerOf(const QByteArray& name, const char* kind, int bytes, const QByteArray& access,
                             const QByteArray& more) {
    node(kind, name + "Register",
         tag("Address", "0x" + QByteArray::number(address_, 16)) + more +
             tag("Length", QByteArray::number(bytes)) + tag("AccessMode", access) + tag("pPort", "Device") +
             (qstrcmp(kind, "IntReg") == 0 ? tag("Sign", "Unsigned") : QByteArray()) +
             tag("Endianess", "BigEndian"));
    address_ += 0x40;
    names_ += tag("pFeature", name);
}

QByteArray Description::limits(const Number& number) {
    return tag("Min", number.low) + tag("Max", number.high) + tag("Inc", number.increment) +
           tag("Unit", number.unit);
}

Description& Description::real(const QByteArray& name, const Number& number) {
    registerOf(name, "FloatReg", 8);
    node("Float", name, number.more + tag("pValue", name + "Register") + limits(number));
    return *this;
}

Description& Description::integer(const QByteArray& name, const Number& number) {
    registerOf(name, "IntReg", 4);
    node("Integer", name, number.more + tag("pValue", name + "Register") + limits(number));
    return *this;
}

Description& Description::boolean(const QByteArray& name, const QByteArray& access, const QByteArray& more) {
    registerOf(name, "IntReg", 4, access);
    node("Boolean", name,
         more + tag("pValue", name + "Register") + tag("OnValue", "1") + tag("OffValue", "0"));
    return *this;
}

Description& Description::enumeration(const QByteArray& name, const QByteArrayList& entries,
                                      const QByteArray& more) {
    registerOf(name, "IntReg", 4);
    QByteArray content = more;
    for (int i = 0; i < entries.size(); ++i)
        content +=
            "<EnumEntry Name=\"" + entries[i] + "\">" + tag("Value", QByteArray::number(i)) + "</EnumEntry>";
    node("Enumeration", name, content + tag("pValue", name + "Register"));
    return *this;
}

Description& Description::command(const QByteArray& name) {
    registerOf(name, "IntReg", 4);
    node("Command", name, tag("pValue", name + "Register") + tag("CommandValue", "1"));
    // What the register holds, for the test.
    node("Integer", name + "Given", tag("pValue", name + "Register"));
    return *this;
}

Description& Description::selected(const QByteArray& name, const QByteArray& selector, const Number& number) {
    registerOf(name, "FloatReg", 8, "RW", "<pIndex Offset=\"8\">" + selector + "Register</pIndex>");
    node("Float", name, number.more + tag("pValue", name + "Register") + limits(number));
    return *this;
}

Description& Description::realConverted(const QByteArray& name, const Number& number) {
    registerOf(name, "IntReg", 4);
    node(
        "Converter", name + "Converter",
        tag("FormulaTo", "FROM * 100") + tag("FormulaFrom", "TO / 100.0") + tag("pValue", name + "Register"));
    node("Float", name, tag("pValue", name + "Converter") + limits(number));
    return *this;
}

Description& Description::integerConverted(const QByteArray& name, const Number& number) {
    registerOf(name, "IntReg", 4);
    node("IntConverter", name + "Converter",
         tag("FormulaTo", "FROM * 2") + tag("FormulaFrom", "TO / 2") + tag("pValue", name + "Register"));
    node("Integer", name, tag("pValue", name + "Converter") + limits(number));
    return *this;
}

Description& Description::bareInteger(const QByteArray& name) {
    registerOf(name, "IntReg", 4);
    nodes_.replace("Name=\"" + name + "Register\"", "Name=\"" + name + '"');
    return *this;
}

Description& Description::bareReal(const QByteArray& name) {
    registerOf(name, "FloatReg", 8);
    nodes_.replace("Name=\"" + name + "Register\"", "Name=\"" + name + '"');
    return *this;
}

Description& Description::someBits(const QByteArray& name) {
    registerOf(name, "MaskedIntReg", 4, "RW", tag("LSB", "15") + tag("MSB", "8"));
    nodes_.replace("Name=\"" + name + "Register\"", "Name=\"" + name + '"');
    return *this;
}

QByteArray Description::xml() const {
    return "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n"
           "<RegisterDescription ModelName=\"Played\" VendorName=\"Bivista\" StandardNameSpace=\"None\" "
           "SchemaMajorVersion=\"1\" SchemaMinorVersion=\"1\" SchemaSubMinorVersion=\"0\" "
           "MajorVersion=\"1\" MinorVersion=\"0\" SubMinorVersion=\"0\" "
           "xmlns=\"http://www.genicam.org/GenApi/Version_1_1\">\n"
           "<Category Name=\"Root\">" +
           names_ + "</Category>\n" + nodes_ + "<Port Name=\"Device\"/>\n</RegisterDescription>\n";
}

PlayedCamera::PlayedCamera(const Description& description) {
    QFile file(folder_.filePath(QStringLiteral("camera.xml")));
    if (!file.open(QIODevice::WriteOnly) || file.write(description.xml()) < 0)
        qFatal("the description cannot be written");
    file.close();
    arv_set_fake_camera_genicam_filename(QFile::encodeName(file.fileName()).constData());
    device_ = arv_fake_device_new("1", Unexpected());
    camera_ = arv_camera_new_with_device(device_, Unexpected());
    if (camera_ == nullptr)
        qFatal("there is no played camera");
}

PlayedCamera::~PlayedCamera() {
    g_clear_object(&camera_);
    g_clear_object(&device_);
}

double PlayedCamera::number(const QByteArray& feature) const {
    if (ARV_IS_GC_FLOAT(arv_device_get_feature(device_, feature.constData())))
        return arv_device_get_float_feature_value(device_, feature.constData(), Unexpected());
    return static_cast<double>(
        arv_device_get_integer_feature_value(device_, feature.constData(), Unexpected()));
}

void PlayedCamera::setNumber(const QByteArray& feature, double value) {
    if (ARV_IS_GC_FLOAT(arv_device_get_feature(device_, feature.constData())))
        arv_device_set_float_feature_value(device_, feature.constData(), value, Unexpected());
    else
        arv_device_set_integer_feature_value(device_, feature.constData(), static_cast<gint64>(value),
                                             Unexpected());
}

bool PlayedCamera::isOn(const QByteArray& feature) const {
    return arv_device_get_boolean_feature_value(device_, feature.constData(), Unexpected()) != FALSE;
}

void PlayedCamera::setOn(const QByteArray& feature, bool on) {
    arv_device_set_boolean_feature_value(device_, feature.constData(), on ? TRUE : FALSE, Unexpected());
}

QByteArray PlayedCamera::entry(const QByteArray& feature) const {
    return arv_device_get_string_feature_value(device_, feature.constData(), Unexpected());
}

void PlayedCamera::setEntry(const QByteArray& feature, const QByteArray& entry) {
    arv_device_set_string_feature_value(device_, feature.constData(), entry.constData(), Unexpected());
}

bool PlayedCamera::takeCommand(const QByteArray& command) {
    const QByteArray given = command + "Given";
    const bool isGiven = number(given) != 0;
    setNumber(given, 0);
    return isGiven;
}
