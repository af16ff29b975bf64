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
    if (tryOpening())
        return true;
    const QString problem = QStringLiteral("Serial port %1 not opened: %2").arg(portName(), errorString());
    qWarning("%s", qUtf8Printable(problem));
    emit problemChanged(problem);
    return false;
}

bool ControllerLine::tryOpening() {
    setBaudRate(QSerialPort::Baud9600);
    return open(QIODevice::ReadWrite);
}

void ControllerLine::noteError(SerialPortError error) {
    if (error != QSerialPort::ResourceError && error != QSerialPort::ReadError)
        return;
    // A line that was pulled is reported at every turn of the event loop for as long as it is open. Not
    // closed in here: the port is at work.
    const QString reason = errorString();
    QMetaObject::invokeMethod(
        this, [this, reason] { closeLost(reason); }, Qt::QueuedConnection);
}

void ControllerLine::closeLost(const QString& reason) {
    if (!isOpen())
        return;
    const QString problem = QStringLiteral("Serial port %1 lost: %2").arg(portName(), reason);
    qWarning("%s", qUtf8Printable(problem));
    close();
    retry.start();
    emit problemChanged(problem);
}

void ControllerLine::tryAgain() {
    if (!tryOpening())
        return;
    retry.stop();
    qWarning("Serial port %s is back", qUtf8Printable(portName()));
    emit problemChanged({});
}
