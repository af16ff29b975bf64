// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QAction>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QGraphicsView>
#include <QLabel>
#include <QMainWindow>
#include <QStatusBar>
#include <QtTest>
#include <algorithm>
#include <memory>

#include "app/mainwindow.h"
#include "camera/capturethread.h"
#include "live/frame.h"
#include "support/boxanswerer.h"
#include "support/workingfolder.h"

// Of every wait. What does not fail takes a moment, or what a busy PC takes.
constexpr int kWait = 20000;  // ms

/// A main window in a fresh working folder, seen from outside: by object names, as a user of the program sees
/// it.
class WindowUnderTest {
public:
    /// Starts the window; message boxes of the start are answered and kept in `boxes()`.
    void start() {
        window = std::make_unique<MainWindow>(nullptr);
        window->show();
    }

    /// Closes the window and destroys it.
    void end() {
        if (window)
            window->close();
        window.reset();
    }

    ~WindowUnderTest() { end(); }

    MainWindow* operator->() const { return window.get(); }
    MainWindow* get() const { return window.get(); }

    QAction* action(const char* name) const { return window->findChild<QAction*>(QLatin1String(name)); }
    QGraphicsView* view() const { return window->findChild<QGraphicsView*>(QStringLiteral("gvMain")); }

    /// The labels of the status bar, from left to right.
    QString leftText() const { return label(0)->text(); }
    QString rightText() const { return label(1)->text(); }

    QLabel* label(int index) const {
        const auto labels = window->statusBar()->findChildren<QLabel*>();
        return labels[index];
    }

    /// The camera pictures in the scene, by x.
    QList<QGraphicsPixmapItem*> tiles() const {
        QList<QGraphicsPixmapItem*> found;
        const auto items = view()->scene()->items();
        for (QGraphicsItem* item : items) {
            if (auto* tile = qgraphicsitem_cast<QGraphicsPixmapItem*>(item))
                found.append(tile);
        }
        std::sort(found.begin(), found.end(), [](auto* a, auto* b) { return a->x() < b->x(); });
        return found;
    }

    /// The whole scene is in view, as large as it can be.
    bool isFitted() const {
        const QRectF scene = view()->scene()->sceneRect();
        const double scale =
            std::min((view()->width() - 2) / scene.width(), (view()->height() - 2) / scene.height());
        return qFuzzyCompare(view()->transform().m11(), scale);
    }

    bool waitForTiles(int count) const {
        return QTest::qWaitFor([&] { return tiles().size() == count; }, 2 * kWait);
    }

    /// Hands a frame of one grey to the window as a capture thread would; `age` in ms.
    void sendFrame(int tile, int grey, qint64 age = 0, QSize size = {64, 48}) const {
        const auto bytes = static_cast<size_t>(size.width()) * static_cast<size_t>(size.height());
        auto* buffer = new unsigned char[bytes];
        std::fill_n(buffer, bytes, static_cast<unsigned char>(grey));
        const QImage image(buffer, size.width(), size.height(), size.width(), QImage::Format_Grayscale8);
        window->process(tile, image, buffer, static_cast<quint64>(QDateTime::currentMSecsSinceEpoch() - age));
    }

    /// A frame of one grey that has just come.
    static Frame frameOf(int grey, QSize size = {64, 48}) {
        const auto bytes = static_cast<size_t>(size.width()) * static_cast<size_t>(size.height());
        auto* buffer = new unsigned char[bytes];
        std::fill_n(buffer, bytes, static_cast<unsigned char>(grey));
        const QImage image(buffer, size.width(), size.height(), size.width(), QImage::Format_Grayscale8);
        return {image, buffer, static_cast<quint64>(QDateTime::currentMSecsSinceEpoch())};
    }

    static int greyOf(const QGraphicsPixmapItem* tile) { return qGray(tile->pixmap().toImage().pixel(0, 0)); }

    BoxAnswerer answerer;

private:
    WorkingFolder folder;
    std::unique_ptr<MainWindow> window;
};
