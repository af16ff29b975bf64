// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSerialPort>
#include <memory>
#include <optional>

#include "control/portreader.h"

/// The serial line of the machine controller: 9600 baud, otherwise the port's defaults; commands come in,
/// nothing goes out. What has arrived together is one delivery. Each is announced by a readyRead() of its
/// own, in order and in a turn of the event loop of its own, however late; readAll() gives just that one.
/// While 1000 wait, further ones are dropped, and a problem says so.
///
/// A line that gets lost while it is open is closed, and opened again as soon as its port is there again. One
/// that could not be opened in the first place is not tried again, unless that is asked for.
///
/// This is only the front, on the GUI thread: it never opens the port itself, which is a PortReader's.
class ControllerLine : public QSerialPort {
    Q_OBJECT

public:
    /// `makePort` as in PortReader::Task.
    explicit ControllerLine(const QString& portName, QObject* parent = nullptr,
                            decltype(PortReader::Task::makePort) makePort = {});
    /// Closes the line.
    ~ControllerLine() override;

    /// Opens the line; false, and a problem, if that fails: then it is tried again every 2 s if `retries`.
    bool openLine(bool retries = false);

    /// Opens the line, and returns when that is done; false if it fails.
    bool open(OpenMode mode) override;
    /// Closes the line for good, also one that is away. What still waits is dropped; the log has how many.
    void close() override;

    /// Bytes of the oldest delivery that are still to be read.
    qint64 bytesAvailable() const override;
    /// Deliveries that have come since the line was opened, also those that wait. From any thread, while it
    /// is open.
    quint64 deliveries() const { return queue ? queue->received() : 0; }
    /// Whether there are such bytes. Never waits.
    bool waitForReadyRead(int msecs) override;

signals:
    /// What is wrong with the line ("Serial port COM3 lost: ..."); empty when nothing is any more.
    void problemChanged(const QString& problem);

protected:
    qint64 readData(char* data, qint64 maxSize) override;
    qint64 writeData(const char* data, qint64 maxSize) override;

private:
    bool start(OpenMode mode, bool retries);
    void takeTurn();
    void announce();
    void hearLost(const QString& reason);
    void hearBack();
    void settle();
    bool hasUnread() const;
    void countLosses();
    void tell();

    const decltype(PortReader::Task::makePort) makePort;
    std::shared_ptr<DeliveryQueue> queue;  // one for each reader
    std::unique_ptr<PortReader> reader;
    std::optional<QByteArray> current;  // rest of the delivery that is read; empty: its end was not seen yet
    bool isThere = false;               // the port is open, as far as the news have it
    bool hasBeenThere = false;          // at any time since the line was opened
    int announcing = 0;                 // calls of announce() under way, one within the other
    QString lineProblem;
    QString told;
    int lostCommands = 0;
    int lostInLog = 0;
};
