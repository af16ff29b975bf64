// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QBasicTimer>
#include <QElapsedTimer>
#include <QObject>

class QWidget;

/// Says when pictures that wait are to be shown: as soon as those before them have been painted, all in one
/// go. So nothing is made that nobody could see, a pass over four tiles is painted once, and however fast
/// frames come, the window stays as quick as painting is.
///
/// When nothing is painted (window hidden, display frozen, tile out of view) 40 ms count as a painting. GUI
/// thread.
class PaintPacer : public QObject {
    Q_OBJECT

public:
    /// Watches the paintings of `viewport`, which outlives it.
    explicit PaintPacer(QWidget* viewport, QObject* parent = nullptr);

    /// Something waits to be shown.
    void pictureWaits();
    /// A picture was put where it is going to be painted.
    void pictureSet();
    /// Nothing waits any more.
    void nothingWaits();

signals:
    /// What waits is to be shown now.
    void show();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void timerEvent(QTimerEvent* event) override;

private:
    void picturesAreOut();

    bool isWaiting = false;
    QBasicTimer soon;             // runs out when the events that are there are handled
    QBasicTimer deadline;         // runs while pictures wait to be painted
    QElapsedTimer sincePictures;  // since the last one was set
};
