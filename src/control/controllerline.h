#pragma once

#include <QSerialPort>
#include <QTimer>

/// The serial line of the machine controller: 9600 baud, otherwise the port's defaults; commands come in,
/// nothing goes out. A line that gets lost while it is open (an adapter that was pulled) is closed, and
/// opened again as soon as its port is there again. One that could not be opened in the first place is not
/// tried again. GUI thread.
class ControllerLine : public QSerialPort {
    Q_OBJECT

public:
    explicit ControllerLine(const QString& portName, QObject* parent = nullptr);

    /// Opens the line; false, and a problem, if that fails.
    bool openLine();

signals:
    /// What is wrong with the line ("Serial port COM3 lost: ..."); empty when it is back.
    void problemChanged(const QString& problem);

private:
    void noteError(SerialPortError error);
    bool tryOpening();
    void closeLost(const QString& reason);
    void tryAgain();

    QTimer retry;  // runs while the line is lost
};
