// SPDX-License-Identifier: Apache-2.0
#include "control/controllerline.h"

#include <QDebug>
#include <QPointer>
#include <algorithm>
#include <utility>

// The front opens and closes itself as a QIODevice does: QSerialPort would work on a port that it does not
// have. NOLINTBEGIN(bugprone-parent-virtual-call)

ControllerLine::ControllerLine(const QString& portName, QObject* parent,
                               decltype(PortReader::Task::makePort) make)
    : QSerialPort(portName, parent), makePort(std::move(make)) {}

ControllerLine::~ControllerLine() {
    // Here, where it is still ours: the base class would close a port that it does not have.
    ControllerLine::close();
}

bool ControllerLine::openLine(bool retries) {
    setBaudRate(QSerialPort::Baud9600);
    if (start(QIODevice::ReadWrite, retries))
        return true;
    lineProblem = QStringLiteral("Serial port %1 not opened: %2").arg(portName(), errorString());
    qWarning("%s", qUtf8Printable(lineProblem));
    tell();
    return false;
}

bool ControllerLine::open(OpenMode mode) {
    return start(mode, false);
}

bool ControllerLine::start(OpenMode mode, bool retries) {
    if (isOpen())
        return false;
    close();
    queue = std::make_shared<DeliveryQueue>(
        [this] { QMetaObject::invokeMethod(this, &ControllerLine::takeTurn, Qt::QueuedConnection); });
    reader = std::make_unique<PortReader>(PortReader::Task{portName(), baudRate(), retries, makePort}, queue);
    const QString reason = reader->open();
    isThere = reason.isEmpty();
    hasBeenThere = isThere;
    if (isThere) {
        QIODevice::open(mode);
    } else {
        if (!retries)
            close();
        setErrorString(reason);
    }
    return isThere;
}

void ControllerLine::close() {
    const int dropped = queue ? queue->close() : 0;
    if (dropped > 0)
        qWarning("Serial port %s: %d %s not handled any more", qUtf8Printable(portName()), dropped,
                 dropped == 1 ? "command was" : "commands were");
    PortReader::end(std::move(reader));
    queue.reset();
    current.reset();
    isThere = false;
    if (isOpen())
        QIODevice::close();
}

// ---- one delivery at a time --------------------------------------------------------------------

void ControllerLine::takeTurn() {
    if (!queue)
        return;
    if (hasUnread()) {
        // What nobody has read yet stays; the next is announced when it has been.
        queue->passTurn();
        return;
    }
    current.reset();
    auto entry = queue->next();
    if (!entry)
        return;
    switch (entry->kind) {
        case DeliveryQueue::Entry::Kind::Delivery:
            current = std::move(entry->bytes);
            countLosses();
            announce();
            break;
        case DeliveryQueue::Entry::Kind::Lost:
            hearLost(entry->problem);
            break;
        case DeliveryQueue::Entry::Kind::Back:
            // Lost, too, before anybody heard of it?
            if (!entry->problem.isEmpty())
                hearLost(entry->problem);
            hearBack();
            break;
    }
}

void ControllerLine::announce() {
    const QPointer<ControllerLine> self(this);
    ++announcing;
    emit readyRead();
    if (!self)
        return;
    --announcing;
    settle();
}

void ControllerLine::settle() {
    // Whoever handles a delivery, with a box up perhaps, finds the line open until that is done.
    if (announcing > 0 || isThere == isOpen())
        return;
    if (isThere) {
        QIODevice::open(QIODevice::ReadWrite);
    } else {
        QIODevice::close();
        setErrorString(lineProblem);
    }
}

bool ControllerLine::hasUnread() const {
    return QIODevice::bytesAvailable() > 0 || (current && !current->isEmpty());
}

qint64 ControllerLine::bytesAvailable() const {
    const qint64 buffered = QIODevice::bytesAvailable();
    if (current)
        return buffered + current->size();
    return buffered + (queue ? queue->nextSize() : 0);
}

bool ControllerLine::waitForReadyRead(int) {
    return bytesAvailable() > 0;
}

qint64 ControllerLine::readData(char* data, qint64 maxSize) {
    if (!queue)
        return 0;
    if (current && current->isEmpty()) {
        // readAll() asks until nothing comes: that is the end of the delivery, and not yet the next one.
        current.reset();
        queue->wakeIfWaiting();
        return 0;
    }
    if (!current)
        current = queue->takeDelivery();
    if (!current)
        return 0;
    const int size = static_cast<int>(std::min<qint64>(maxSize, current->size()));
    std::copy_n(current->constData(), size, data);
    current->remove(0, size);
    return size;
}

qint64 ControllerLine::writeData(const char*, qint64) {
    return -1;
}

void ControllerLine::hearLost(const QString& reason) {
    lineProblem = QStringLiteral("Serial port %1 lost: %2").arg(portName(), reason);
    qWarning("%s", qUtf8Printable(lineProblem));
    hasBeenThere = true;
    isThere = false;
    settle();
    tell();
}

void ControllerLine::hearBack() {
    qWarning("Serial port %s is %s", qUtf8Printable(portName()), hasBeenThere ? "back" : "open now");
    lineProblem.clear();
    hasBeenThere = true;
    isThere = true;
    settle();
    tell();
}

// ---- what goes wrong ---------------------------------------------------------------------------

void ControllerLine::countLosses() {
    const int lost = queue->lost();
    if (lost == 0)
        lostInLog = 0;
    lostCommands = lost;
    tell();
    // The first of them, and all of them when that is over.
    if (lost != lostInLog && (lostInLog == 0 || queue->isEmpty())) {
        lostInLog = lost;
        qWarning("Serial port %s: %d commands lost, too many at once", qUtf8Printable(portName()), lost);
    }
}

void ControllerLine::tell() {
    QString problem = lineProblem;
    if (problem.isEmpty() && lostCommands > 0)
        problem = QStringLiteral("Serial port %1: %2 %3 lost, too many at once")
                      .arg(portName())
                      .arg(lostCommands)
                      .arg(lostCommands == 1 ? QStringLiteral("command") : QStringLiteral("commands"));
    if (std::exchange(told, problem) != problem)
        emit problemChanged(problem);
}

// NOLINTEND(bugprone-parent-virtual-call)
