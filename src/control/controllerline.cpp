#include "control/controllerline.h"

#include <QDebug>

namespace {

constexpr int kRetryPeriod = 2000;  // ms between two tries to get a lost line back

}  // namespace

ControllerLine::ControllerLine(const QString& portName, QObject* parent) : QSerialPort(portName, parent) {
    retry.setInterval(kRetryPeriod);
    connect(&retry, &QTimer::timeout, this, &ControllerLine::tryAgain);
    connect(this, &QSerialPort::errorOccurred, this, &ControllerLine::noteError);
}

bool ControllerLine::openLine() {
    setBaudRate(QSerialPort::Baud9600);
    return open(QIODevice::ReadWrite);
}

void ControllerLine::noteError(SerialPortError error) {
    // A line that was pulled is reported at every turn of the event loop for as long as it is open. Not
    // closed in here: the port is at work.
    if (error == QSerialPort::ResourceError || error == QSerialPort::ReadError)
        QMetaObject::invokeMethod(this, &ControllerLine::closeLost, Qt::QueuedConnection);
}

void ControllerLine::closeLost() {
    if (!isOpen())
        return;
    const QString problem = QStringLiteral("Serial port %1 lost: %2").arg(portName(), errorString());
    qWarning("%s", qUtf8Printable(problem));
    close();
    retry.start();
    emit problemChanged(problem);
}

void ControllerLine::tryAgain() {
    if (!openLine())
        return;
    retry.stop();
    qWarning("Serial port %s is back", qUtf8Printable(portName()));
    emit problemChanged({});
}
