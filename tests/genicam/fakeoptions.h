// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QSet>
#include <QString>
#include <QStringList>
#include <QVector>

#include <cstdint>

namespace fake {

/// A pixel format of the GenICam naming convention.
struct Format {
    QByteArray name;
    uint32_t code = 0;

    int bitsPerPixel() const { return static_cast<int>(code >> 16 & 0xFF); }
    /// Bits of a sample that count: 8, 10 or 12.
    int depth() const;
    bool isBayer() const { return name.startsWith("Bayer"); }
    /// Channel (0 red, 1 green, 2 blue) that a Bayer pixel sees.
    int bayerChannel(int x, int y) const;
};
const QVector<Format>& formats();
/// Null if there is none of that name or code.
const Format* formatOf(const QByteArray& name);
const Format* formatOf(uint32_t code);
/// The format of the same depth whose pattern begins one pixel further right or below.
const Format& shifted(const Format& bayer, bool byColumn, bool byRow);

enum class Names {
    Standard,  ///< ExposureTime, Gain, BlackLevel, AcquisitionFrameRate
    Abs,       ///< ExposureTimeAbs, GainRaw, BlackLevelRaw, AcquisitionFrameRateAbs
    Raw,       ///< ExposureTimeRaw, and the others as with Abs
};

/// What a user set holds.
enum class UserSets {
    Little,  ///< exposure and gain
    Usual,   ///< what a picture looks like
    All,     ///< also trigger, size, acquisition mode, packet size and packet delay
};

/// Whether a camera tells who has control of it: its registers for that.
enum class Master {
    Untold,   ///< it has none
    Told,     ///< port and address of who has control
    Nothing,  ///< it has them, and they say 0
};

/// What a fake camera is asked to be.
struct Options {
    QString address = QStringLiteral("127.0.0.1");
    QByteArray serial = "FAKE0001";  ///< at most 15 bytes
    QByteArray model = "Test camera";
    int width = 640;         ///< sensor px
    int height = 480;        ///< sensor px
    double rate = 25;        ///< frames a second at first
    double fastestRate = 0;  ///< that can be set; 0: twice the rate
    QVector<QByteArray> formats{"Mono8"};
    QSet<QString> features;
    Names names = Names::Standard;
    uint32_t scene = 0;
    bool mirrorChangesPhase = false;
    double exposure = 10000;    ///< µs at first
    double loss = 0;            ///< share of lost packets, 0 ... 1
    int slowAnswers = 0;        ///< ms before each answer about a parameter
    double lineRate = 0;        ///< pulses a second on Line1
    QString xmlFile;            ///< instead of our own
    qint64 garbageSize = -1;    ///< what Width says, if not negative
    int sentWidth = 0;          ///< px that frames have, if not what Width says
    bool isLeftBehind = false;  ///< a trigger and an exposure mode of others keep frames from coming
    UserSets userSets = UserSets::Usual;
    QStringList locked;          ///< mirrors, gain: cannot be written while it streams, and it says so
    bool hasSilentLock = false;  ///< mirrors cannot be written while it streams, and nothing says so
    bool sendsNothing = false;   ///< no frames
    Master master = Master::Untold;
    QStringList refused;          ///< kRefusable: cannot be written
    QString troubleFile;          ///< the same as long as it stands there, one a line
    qint64 saidPayload = -1;      ///< bytes that PayloadSize says, if not negative
    int refusesAt = 0;            ///< number of the request that it refuses; 0: none
    int silentAt = 0;             ///< number of the request from which on it does not answer; 0: none
    int silentFor = 4000;         ///< ms, then
    bool hasTestPackets = false;  ///< sends those, but for the first size that is asked for
    int seconds = 600;            ///< until it ends by itself
    bool stampsTime = false;      ///< below, instead of the number: steady ms at which the frame was exposed
    bool has(const char* feature) const { return features.contains(QLatin1String(feature)); }
};

/// Reads a command line; ends the process with a message when it cannot be understood.
Options readOptions(const QStringList& arguments);

}  // namespace fake
