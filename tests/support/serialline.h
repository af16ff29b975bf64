// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <memory>
#include <optional>

/// A serial line with the program under test at its one end and a machine controller, which the test plays,
/// at the other. What is written in one piece arrives in one piece: a line by software, no cable.
///
/// Where there are ptys, socat makes a pair of them for each object. On Windows they are two COM ports that
/// are connected to each other and that BIVISTA_TEST_PORTS names, the program's and the controller's:
/// "COM1,COM2". The line there is the same for all objects, so there may be one at a time.
class SerialLine {
public:
    /// How the program has set up its end.
    struct Settings {
        int inputSpeed;   // Bd, 0 if it is none of the usual ones
        int outputSpeed;  // Bd
        int dataBits;
        bool parity;
        int stopBits;
    };

    SerialLine();
    ~SerialLine();
    SerialLine(const SerialLine&) = delete;
    SerialLine& operator=(const SerialLine&) = delete;

    /// Why there can be no line on this machine, for the test to be skipped; empty where there can.
    static QString whyNot();
    /// The program's end is a pty: the test can pull the line out, and see how the program has set it up.
    static bool isPty();

    /// Makes the line, without anything under way on it. False: errorString() says why.
    bool plugIn();
    QString errorString() const;

    /// The name by which the program opens its end, as in `File/Port`.
    QString programEnd() const;
    /// The name by which another process could open the controller's end.
    QString controllerEnd() const;
    /// Sends as a controller does, in one write, while the windows of this process wait. True: the line has
    /// taken all.
    bool send(const QByteArray& bytes);
    /// Takes the line away from under the program. Ptys only.
    bool unplug();
    /// None if the program's end does not tell. Ptys only.
    std::optional<Settings> programSettings() const;

private:
    struct Parts;
    std::unique_ptr<Parts> parts;
};
