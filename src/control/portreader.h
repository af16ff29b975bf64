// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QSerialPort>
#include <QString>
#include <QThread>
#include <functional>
#include <future>
#include <memory>

#include "control/deliveryqueue.h"

/// The thread that takes bytes off a serial port as they come, whatever keeps the GUI thread busy, and puts
/// them into a DeliveryQueue: what the port has at a time is one delivery. A port that gets lost while it is
/// open (an adapter that was pulled) is closed, and opened again every 2 s until it is there; opening can
/// take seconds, too, and does so here.
///
/// The object lives on the GUI thread, the port on the reader's; the queue is all that they share.
class PortReader : public QThread {
    Q_OBJECT

public:
    struct Task {
        QString portName;
        qint32 baudRate = QSerialPort::Baud9600;
        bool retries = false;  ///< a port that cannot be opened in the first place is tried again, too
        /// Makes the port, on the reader's thread; none: an ordinary one. For tests.
        std::function<std::unique_ptr<QSerialPort>(const QString& name)> makePort;
    };

    PortReader(Task task, std::shared_ptr<DeliveryQueue> queue);
    /// The thread has ended: see end().
    ~PortReader() override = default;

    /// Starts the thread and waits until it has tried to open the port. Returns why it is not open, empty if
    /// it is. A port that is not open and not tried again ends the thread; where none can be made, there is
    /// nobody who could try again. Once.
    QString open();

    /// Closes the port and ends the thread, also while it tries to open. A driver that does not answer
    /// within 2 s is left alone with its thread, which ends when the driver comes back.
    static void end(std::unique_ptr<PortReader> reader);

protected:
    void run() override;

private:
    const Task task;
    const std::shared_ptr<DeliveryQueue> queue;
    std::promise<QString> opened;
};
