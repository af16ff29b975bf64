// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMutex>
#include <QSet>
#include <QSize>
#include <QString>
#include <QStringList>
#include <atomic>

#include "soak/watches.h"

/// What is wrong with a picture file: cut off, not what its name says, not to be decoded. Empty when it is
/// whole; `size` then has its px. Any thread.
QString pictureFault(const QString& fileName, QSize* size);

/// The books of the pictures: what was commanded, what came. Every file that appears is looked at, checked
/// and removed. Any thread.
class PictureStore : public Watch {
public:
    struct Counts {
        int commanded = 0;
        int found = 0;
        int missing = 0;  ///< of those that were settled
        int surplus = 0;
    };

    explicit PictureStore(QString pictureFolder);
    ~PictureStore() override;

    /// To be called before the command goes out.
    void expectSnapshot(const QString& by);
    void expectNamed(const QString& baseName);

    /// Commanded and not yet there.
    int outstanding() const;
    double lastChange() const { return changed; }  ///< ms of nowMs(): something was commanded or came
    /// Calls what is outstanding missing, and starts anew.
    void settle();
    /// From here on all pictures have the size of the next one.
    void expectNewSize();

    Counts snapshots() const;
    Counts named() const;
    QStringList faults() const;
    QStringList sizes() const;
    /// Who commanded a picture named by the time, what came, one line each with ms, and the barcodes that are
    /// missing: to find out which it is.
    QStringList diary() const;

    /// The next picture goes before it is looked at: somebody else takes it away.
    void loseOne() { toLose = 1; }

private:
    void turn();
    void check(const QString& name);

    const QString folder;
    std::atomic<double> changed{0};
    std::atomic<int> toLose{0};
    mutable QMutex mutex;
    // All guarded:
    Counts snapshotCounts;
    Counts namedCounts;
    int openSnapshots = 0;
    QSet<QString> openNames;
    QSize wanted;
    QStringList faultList;
    QStringList sizeList;
    QStringList diaryLines;
};
