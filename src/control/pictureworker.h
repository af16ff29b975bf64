// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QImage>
#include <QObject>
#include <QString>
#include <QVector>
#include <condition_variable>
#include <list>
#include <mutex>
#include <thread>

/// Writes pictures in the background, one after the other in the order in which they came, on a thread of its
/// own that lives from the first picture to the end of the object. Made, used and deleted on the GUI thread.
///
/// No picture is lost: what has been added is tried to be written before the object is gone, however long the
/// disk takes. In memory there are at most kMostWaiting + 1 pictures.
class PictureWorker : public QObject {
    Q_OBJECT

public:
    /// Pictures that can wait beside the one that is being written.
    static constexpr int kMostWaiting = 4;

    /// A file that goes with a picture; one without a name is none.
    struct Companion {
        QString fileName;
        QByteArray content;
    };

    /// What became of a picture.
    struct Result {
        QString fileName;
        QString problem;           ///< as writePicture() returns it
        QString companionProblem;  ///< as writeCompanion() returns it
    };

    using QObject::QObject;
    /// Waits as waitForAll() does.
    ~PictureWorker() override;

    /// Takes a picture over, to be written as writePicture() does; waits for room first. A picture whose
    /// pixels somebody else has too is copied. A relative name is one of the folder that is the working
    /// folder when the picture is written. False when there is neither memory nor a thread for it: then
    /// nothing has been taken. Does not throw.
    ///
    /// The companion is written after the picture, and only if that is: it must not lie beside an older one.
    bool add(QImage picture, const QString& fileName, int quality, const Companion& companion = {});
    /// Waits until one more can be added without waiting.
    void waitForRoom();
    /// Waits until all that was added has been written, or could not be.
    void waitForAll();
    /// What became of the pictures since the last call, in their order.
    QVector<Result> takeResults();

signals:
    /// There are results. Emitted by the thread that writes.
    void written();

private:
    struct Job {
        QImage picture;
        QString fileName;
        int quality;
        Companion companion;
        QString problem;
        QString companionProblem;
    };

    bool startThread();
    void run();
    void write(Job& job);

    std::mutex mutex;  // guards the lists and isEnding; what is in `current` is the thread's alone
    std::condition_variable changed;
    // A picture moves from one to the next: that takes no memory.
    std::list<Job> waiting;
    std::list<Job> current;  // one at most
    std::list<Job> done;     // without their pixels
    bool isEnding = false;
    std::thread thread;  // none before the first picture
};
