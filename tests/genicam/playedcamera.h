// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QByteArrayList>
#include <QTemporaryDir>

typedef struct _ArvCamera ArvCamera;
typedef struct _ArvDevice ArvDevice;

/// Writes the description of a camera: features one by one, each with a register of its own.
class Description {
public:
    struct Number {
        QByteArray low;  ///< empty: the description does not say
        QByteArray high;
        QByteArray unit = {};
        QByteArray increment = {};
        QByteArray more = {};  ///< further elements of the feature, such as "<pIsLocked>Lock</pIsLocked>"
    };

    /// Width, Height, PixelFormat and PayloadSize: what no camera lacks.
    Description();

    Description& real(const QByteArray& name, const Number& number);
    Description& integer(const QByteArray& name, const Number& number);
    Description& boolean(const QByteArray& name, const QByteArray& access = "RW",
                         const QByteArray& more = {});
    /// The entries count from 0.
    Description& enumeration(const QByteArray& name, const QByteArrayList& entries,
                             const QByteArray& more = {});
    Description& command(const QByteArray& name);
    /// A real number that the description makes of an integer register, a hundredth each; and an integer made
    /// of another, half of it.
    Description& realConverted(const QByteArray& name, const Number& number);
    Description& integerConverted(const QByteArray& name, const Number& number);
    /// The register itself is the feature, without a node before it.
    Description& bareInteger(const QByteArray& name);
    Description& bareReal(const QByteArray& name);
    Description& someBits(const QByteArray& name);
    /// A real number for each entry of a selector.
    Description& selected(const QByteArray& name, const QByteArray& selector, const Number& number);

    QByteArray xml() const;

private:
    void registerOf(const QByteArray& name, const char* kind, int bytes, const QByteArray& access = "RW",
                    const QByteArray& more = {});
    void node(const char* kind, const QByteArray& name, const QByteArray& content);
    static QByteArray limits(const Number& number);

    QByteArray nodes_;
    QByteArray names_;
    int address_ = 0x1000;  // what lies below is the played camera's own
};

/// A camera that Aravis plays in this process, with a description of ours. GUI thread.
class PlayedCamera {
public:
    explicit PlayedCamera(const Description& description);
    ~PlayedCamera();
    PlayedCamera(const PlayedCamera&) = delete;
    PlayedCamera& operator=(const PlayedCamera&) = delete;

    ArvCamera* camera() const { return camera_; }

    /// Past everything that is tested. A failure fails the test.
    double number(const QByteArray& feature) const;
    void setNumber(const QByteArray& feature, double value);
    bool isOn(const QByteArray& feature) const;
    void setOn(const QByteArray& feature, bool on);
    QByteArray entry(const QByteArray& feature) const;
    void setEntry(const QByteArray& feature, const QByteArray& entry);
    /// Whether a command has been given since the last call.
    bool takeCommand(const QByteArray& command);

private:
    QTemporaryDir folder_;
    ArvDevice* device_ = nullptr;
    ArvCamera* camera_ = nullptr;
};
