// SPDX-License-Identifier: Apache-2.0
#include "control/portreader.h"

#include <QDebug>
#include <QTimer>
#include <chrono>
#include <utility>

#include "platform/crashtrace.h"

namespace {

constexpr int kRetryPeriod = 2000;         // ms between two tries to get a port back
constexpr unsigned long kPatience = 2000;  // ms for a port to be closed at the end

/// Whether a port that is open and says this is lost. On Windows an adapter that was pulled can be one that
/// there is no access to, or none any more.
bool isLoss(QSerialPort::SerialPortError error) {
    return error == QSerialPort::ResourceError || error == QSerialPort::ReadError ||
           error == QSerialPort::PermissionError || error == QSerialPort::DeviceNotFoundError;
}

/// The port, on the reader's thread.
class Session : public QObject {
public:
    Session(const PortReader::Task& task, DeliveryQueue* queue);
    /// What the port says while it is closed is nobody's any more.
    ~Session() override { port->disconnect(this); }

    bool open() { return port->open(QIODevice::ReadWrite); }
    QString errorString() const { return port->errorString(); }
    void tryLater() { retry.start(); }

private:
    void noteError(QSerialPort::SerialPortError error);
    void closeLost(const QString& reason);
    void tryAgain();

    DeliveryQueue* const queue;  // outlives this
    std::unique_ptr<QSerialPort> port;
    QTimer retry;  // runs while the port is away
};

Session::Session(const PortReader::Task& task, DeliveryQueue* deliveries)
    : queue(deliveries),
      port(task.makePort ? task.makePort(task.portName) : std::make_unique<QSerialPort>(task.portName)) {
    port->setBaudRate(task.baudRate);
    connect(port.get(), &QSerialPort::readyRead, this, [this] { queue->put(port->readAll()); });
    connect(port.get(), &QSerialPort::errorOccurred, this, &Session::noteError);
    retry.setInterval(kRetryPeriod);
    connect(&retry, &QTimer::timeout, this, &Session::tryAgain);
}

void Session::noteError(QSerialPort::SerialPortError error) {
    if (!port->isOpen() || !isLoss(error))
        return;
    // A port that was pulled is reported at every turn of the event loop for as long as it is open. Not
    // closed in here: it is at work.
    const QString reason = port->errorString();
    QMetaObject::invokeMethod(
        this, [this, reason] { closeLost(reason); }, Qt::QueuedConnection);
}

void Session::closeLost(const QString& reason) {
    if (!port->isOpen())
        return;
    port->close();
    queue->putLost(reason);
    retry.start();
}

void Session::tryAgain() {
    if (!open())
        return;
    retry.stop();
    queue->putBack();
}

}  // namespace

PortReader::PortReader(Task what, std::shared_ptr<DeliveryQueue> deliveries)
    : task(std::move(what)), queue(std::move(deliveries)) {}

QString PortReader::open() {
    auto result = opened.get_future();
    // Before the threads that work long: what arrives apart is to be read apart.
    start(QThread::HighPriority);
    // Without a thread nobody answers. One that has ended by now has answered first.
    if (!isRunning() && result.wait_for(std::chrono::seconds(0)) != std::future_status::ready)
        return QStringLiteral("No thread");
    return result.get();
}

void PortReader::run() {
    const platform::CrashStack stack;
    Session session(task, queue.get());
    const bool isOpen = session.open();
    if (!isOpen && task.retries)
        session.tryLater();
    opened.set_value(isOpen ? QString() : session.errorString());
    if (isOpen || task.retries)
        exec();
}

void PortReader::end(std::unique_ptr<PortReader> reader) {
    if (!reader)
        return;
    reader->quit();
    if (reader->wait(kPatience))
        return;
    qWarning("Serial port %s does not answer and is left open", qUtf8Printable(reader->task.portName));
    PortReader* const left = reader.release();
    connect(left, &QThread::finished, left, &QObject::deleteLater);
    if (left->isFinished())
        left->deleteLater();
}
