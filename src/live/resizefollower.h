// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QDeadlineTimer>
#include <QObject>

class QWidget;

/// Tells of the sizes that a desktop gives a widget within a moment after it was asked for another state: a
/// window manager resizes a window some time after that, and what was fitted at once would be fitted to the
/// size that is about to go. GUI thread.
class ResizeFollower : public QObject {
    Q_OBJECT

public:
    /// Watches `widget`, which outlives it.
    explicit ResizeFollower(QWidget* widget, QObject* parent = nullptr);

    /// From now on, for one second.
    void follow();

signals:
    /// The widget has taken a new size.
    void resized();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QDeadlineTimer limit{0};
};
