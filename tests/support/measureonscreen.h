// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGraphicsView>
#include <QProcess>
#include <QScreen>
#include <QTimer>
#include <QToolBar>
#include <QtTest>
#include <cmath>

#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "support/mainwindowtest.h"
#include "support/ondesktop.h"

/// A person who measures in a main window on a real desktop, by a real mouse and keys. Places are px of the
/// viewport from its middle, so that they are in sight at every zoom. What the system has been told to press
/// is waited for until the program has seen it.
class MeasureOnScreen : public QObject {
public:
    explicit MeasureOnScreen(const WindowUnderTest& shown) : window(shown) { qApp->installEventFilter(this); }

    QGraphicsView* view() const { return window.view(); }
    InteractiveScene* scene() const { return qobject_cast<InteractiveScene*>(view()->scene()); }
    QToolBar* bar() const { return window->findChild<QToolBar*>(QStringLiteral("measureBar")); }
    double scale() const { return view()->transform().m11(); }

    QPoint place(QPoint fromMiddle) const { return view()->viewport()->rect().center() + fromMiddle; }
    QPointF scenePoint(QPoint fromMiddle) const {
        return view()->viewportTransform().inverted().map(QPointF(place(fromMiddle)));
    }
    /// The place nearest to a scene point that a mouse can be at.
    QPoint placeOf(QPointF point) const {
        return view()->viewportTransform().map(point).toPoint() - view()->viewport()->rect().center();
    }

    static bool xdo(const QString& command) {
        return runBeside(QStringLiteral("xdotool"), command.split(QLatin1Char(' ')));
    }
    bool moveTo(QPoint fromMiddle) {
        const QPoint global = view()->viewport()->mapToGlobal(place(fromMiddle));
        if (QCursor::pos() == global && lastMove == global)
            return true;  // nothing would be told
        return xdo(QStringLiteral("mousemove %1 %2").arg(global.x()).arg(global.y())) &&
               QTest::qWaitFor([&] { return lastMove == global; }, kWait);
    }
    bool press(int button = 1) { return changeButton(QStringLiteral("mousedown %1"), button, presses); }
    bool release(int button = 1) { return changeButton(QStringLiteral("mouseup %1"), button, releases); }
    bool click(QPoint fromMiddle, int button = 1) {
        return moveTo(fromMiddle) &&
               changeButton(QStringLiteral("mousedown %1 mouseup %1"), button, releases);
    }
    bool drag(QPoint from, QPoint to) {
        return moveTo(from) && press() && moveTo((from + to) / 2) && moveTo(to) && release();
    }
    /// Of any of the tool bars.
    bool pressButton(const char* action) const {
        const auto bars = window->findChildren<QToolBar*>();
        for (const QToolBar* toolBar : bars) {
            const QWidget* button = toolBar->widgetForAction(window.action(action));
            if (!button || !button->isVisible())
                continue;
            const QSignalSpy triggered(window.action(action), &QAction::triggered);
            return moveOver(*button) && xdo(QStringLiteral("mousedown 1 mouseup 1")) &&
                   QTest::qWaitFor([&] { return !triggered.isEmpty(); }, kWait);
        }
        return false;
    }
    /// "Left Left", pressed one after the other.
    bool keys(const QString& names) const { return xdo(QStringLiteral("key ") + names); }

    /// 1, and as many steps of the wheel from there as it takes. False: it did not come to that.
    bool zoomTo(double wanted) {
        if (!pressButton("actionReset") || !QTest::qWaitFor([&] { return scale() == 1.0; }, kWait))
            return false;
        constexpr double kStep = 1.1;
        const int steps = qRound(std::log(wanted) / std::log(kStep));
        return steps == 0 ||
               (moveTo({0, 0}) && xdo(QStringLiteral("click --repeat %1 --delay 10 4").arg(steps)) &&
                QTest::qWaitFor([&] { return qAbs(scale() - std::pow(kStep, steps)) < 1e-9; }, kWait));
    }

    /// What is being drawn; nothing if nothing is.
    FigureMark* draft() const {
        const auto all = scene()->items();
        for (QGraphicsItem* item : all) {
            auto* figure = dynamic_cast<FigureMark*>(item);
            if (figure && scene()->indexOf(figure) < 0)
                return figure;
        }
        return nullptr;
    }
    int pointsTaken() const { return draft() ? draft()->pointsTaken() : 0; }
    FigureMark* figure(int index) const {
        return dynamic_cast<FigureMark*>(scene()->markList().value(index));
    }
    /// Points of one, px of the scene; empty for one that is not there.
    QVector<QPointF> points(int index = 0) const {
        return figure(index) ? figure(index)->figure().points : QVector<QPointF>();
    }

    /// What the mark file has of the figures after Save Corner, a line each.
    QStringList savedLines() const {
        window.action("actionSave_Corner")->trigger();
        QStringList lines =
            QString::fromUtf8(WorkingFolder::read(QStringLiteral("mark0.txt"))).split(QStringLiteral("\r\n"));
        lines.removeAll(QString());
        return lines;
    }
    /// The numbers behind the bar of such a line, in pairs.
    static QVector<QPointF> pointsOf(const QString& line) {
        const QStringList numbers =
            line.section(QLatin1Char('|'), 1).split(QLatin1Char(' '), Qt::SkipEmptyParts);
        QVector<QPointF> found;
        for (int i = 0; i + 1 < numbers.size(); i += 2)
            found.append({numbers[i].toDouble(), numbers[i + 1].toDouble()});
        return found;
    }

    /// As it stands on the screen.
    QImage screenshot() const { return window->screen()->grabWindow(0).toImage(); }

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (watched != view()->viewport())
            return false;
        if (event->type() == QEvent::MouseMove)
            lastMove = static_cast<QMouseEvent*>(event)->globalPos();
        presses += event->type() == QEvent::MouseButtonPress || event->type() == QEvent::MouseButtonDblClick;
        releases += event->type() == QEvent::MouseButtonRelease;
        return false;
    }

private:
    /// A window that has just come up, or left full screen, may still be on its way to its place.
    static bool moveOver(const QWidget& button) {
        for (int tries = 0; tries < 20; ++tries) {
            const QPoint global = button.mapToGlobal(button.rect().center());
            if (!xdo(QStringLiteral("mousemove %1 %2").arg(global.x()).arg(global.y())))
                return false;
            const auto isOver = [&] {
                return button.underMouse() && button.mapToGlobal(button.rect().center()) == global;
            };
            if (QTest::qWaitFor(isOver, kWait / 20))
                return true;
        }
        return false;
    }

    static bool changeButton(const QString& how, int button, const int& seen) {
        const int before = seen;
        return xdo(how.arg(button)) && QTest::qWaitFor([&] { return seen > before; }, kWait);
    }

    const WindowUnderTest& window;
    QPoint lastMove;
    int presses = 0;
    int releases = 0;
};

/// Closes every menu that comes up, which would wait for somebody to choose, and counts them.
class MenuCloser : public QObject {
public:
    MenuCloser() {
        timer.callOnTimeout(this, [this] {
            if (QWidget* menu = QApplication::activePopupWidget()) {
                ++count;
                menu->close();
            }
        });
        timer.start(10);
    }
    int count = 0;

private:
    QTimer timer;
};
