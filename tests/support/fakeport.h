// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QSerialPort>
#include <QThread>
#include <condition_variable>
#include <memory>
#include <mutex>

/// What a test knows of the fake ports that a line makes, one at a time, and how they behave. Any thread.
struct PortScript {
    std::mutex mutex;  // guards all that follows
    std::condition_variable changed;
    bool isMissing = false;       ///< opening fails
    bool isStuck = false;         ///< opening does not return
    int openings = 0;             ///< begun
    int alive = 0;                ///< ports there are
    int fed = 0;                  ///< deliveries that a port has announced
    QThread* thread = nullptr;    ///< on which a port was opened last
    QSerialPort* port = nullptr;  ///< the one there is

    template <class Change>
    void set(Change change) {
        const std::lock_guard<std::mutex> lock(mutex);
        change();
        changed.notify_all();
    }
    template <class Condition>
    bool waitFor(Condition condition) {
        std::unique_lock<std::mutex> lock(mutex);
        return changed.wait_for(lock, std::chrono::seconds(10), condition);
    }
    template <class T>
    T get(T PortScript::*member) {
        const std::lock_guard<std::mutex> lock(mutex);
        return this->*member;
    }

    /// Lets these bytes arrive at the port together; returns when the port has announced them.
    bool feed(const QByteArray& bytes);
    /// Pulls the port out from under whoever reads it.
    void pull(QSerialPort::SerialPortError error = QSerialPort::ResourceError);
};

/// A serial port without a device, on whatever thread it is made.
class FakePort : public QSerialPort {
public:
    FakePort(const QString& name, std::shared_ptr<PortScript> rules)
        : QSerialPort(name), script(std::move(rules)) {
        script->set([this] {
            ++script->alive;
            script->port = this;
        });
    }
    ~FakePort() override {
        if (isOpen())
            FakePort::close();
        script->set([this] {
            --script->alive;
            script->port = nullptr;
        });
    }

    bool open(OpenMode mode) override {
        std::unique_lock<std::mutex> lock(script->mutex);
        script->thread = QThread::currentThread();
        ++script->openings;
        script->changed.notify_all();
        script->changed.wait(lock, [this] { return !script->isStuck; });
        if (script->isMissing) {
            setErrorString(QStringLiteral("nothing there"));
            return false;
        }
        lock.unlock();
        return QIODevice::open(mode);
    }
    void close() override { QIODevice::close(); }
    qint64 bytesAvailable() const override { return QIODevice::bytesAvailable() + arrived.size(); }

    void arrive(const QByteArray& bytes) {
        arrived += bytes;
        emit readyRead();
        script->set([this] { ++script->fed; });
    }
    void fail(SerialPortError error) {
        setErrorString(QStringLiteral("pulled out"));
        emit errorOccurred(error);
        // As long as it is open it says so again.
        emit errorOccurred(error);
    }

protected:
    qint64 readData(char* data, qint64 maxSize) override {
        const int size = static_cast<int>(std::min<qint64>(maxSize, arrived.size()));
        std::copy_n(arrived.constData(), size, data);
        arrived.remove(0, size);
        return size;
    }

private:
    const std::shared_ptr<PortScript> script;
    QByteArray arrived;
};

inline bool PortScript::feed(const QByteArray& bytes) {
    int before = 0;
    set([&] {
        before = fed;
        auto* target = static_cast<FakePort*>(port);
        QMetaObject::invokeMethod(
            target, [target, bytes] { target->arrive(bytes); }, Qt::QueuedConnection);
    });
    return waitFor([&] { return fed > before; });
}

inline void PortScript::pull(QSerialPort::SerialPortError error) {
    set([&] {
        auto* target = static_cast<FakePort*>(port);
        QMetaObject::invokeMethod(
            target, [target, error] { target->fail(error); }, Qt::QueuedConnection);
    });
}
