// SPDX-License-Identifier: Apache-2.0
#include "support/serialline.h"

#include <QElapsedTimer>
#include <QSerialPort>
#include <QStringList>

namespace {

constexpr int kLimit = 10000;  // ms

/// The program's port and the controller's; empty if they are not both given.
QStringList ports() {
    const QStringList names = qEnvironmentVariable("BIVISTA_TEST_PORTS").split(QLatin1Char(','));
    return names.size() == 2 && !names[0].isEmpty() && !names[1].isEmpty() ? names : QStringList();
}

}  // namespace

struct SerialLine::Parts {
    QSerialPort controller;
    QString error;
};

SerialLine::SerialLine() : parts(std::make_unique<Parts>()) {}

SerialLine::~SerialLine() = default;

QString SerialLine::whyNot() {
    return ports().isEmpty()
               ? QStringLiteral("BIVISTA_TEST_PORTS names no two connected ports (\"COM1,COM2\")")
               : QString();
}

bool SerialLine::isPty() {
    return false;
}

bool SerialLine::plugIn() {
    // What a test before this one has left under way is nobody's command.
    QSerialPort program(programEnd());
    if (!program.open(QIODevice::ReadWrite) || !program.clear()) {
        parts->error = programEnd() + QStringLiteral(": ") + program.errorString();
        return false;
    }
    program.close();
    // Open as long as the line is there: a port that is closed may throw away what it has not sent yet.
    parts->controller.setPortName(controllerEnd());
    parts->controller.setBaudRate(QSerialPort::Baud9600);
    if (!parts->controller.open(QIODevice::ReadWrite)) {
        parts->error = controllerEnd() + QStringLiteral(": ") + parts->controller.errorString();
        return false;
    }
    return true;
}

QString SerialLine::errorString() const {
    return parts->error;
}

QString SerialLine::programEnd() const {
    return ports().value(0);
}

QString SerialLine::controllerEnd() const {
    return ports().value(1);
}

bool SerialLine::send(const QByteArray& bytes) {
    QSerialPort& port = parts->controller;
    if (port.write(bytes) != bytes.size())
        return false;
    QElapsedTimer timer;
    timer.start();
    while (port.bytesToWrite() > 0) {
        if (!port.waitForBytesWritten(kLimit) || timer.hasExpired(kLimit))
            return false;
    }
    return true;
}

bool SerialLine::unplug() {
    return false;
}

std::optional<SerialLine::Settings> SerialLine::programSettings() const {
    return {};
}
