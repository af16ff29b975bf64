// SPDX-License-Identifier: Apache-2.0
#include <QApplication>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QWidget>
#include <QtTest>

#include "live/paintpacer.h"
#include "live/resizefollower.h"

namespace {

constexpr int kWait = 10000;  // ms, limit of every wait

void paint(QWidget& viewport) {
    QPaintEvent event(viewport.rect());
    QCoreApplication::sendEvent(&viewport, &event);
}

}  // namespace

/// When pictures that wait are shown, and which sizes of a view are followed.
class TestPaintPacer : public QObject {
    Q_OBJECT

private slots:
    void showsAsSoonAsEventsAreHandled();
    void oneShowForManyPictures();
    void waitsForThePainting();
    void doesNotWaitForAPaintingThatNeverComes();
    void nothingWaitsAnyMore();
    void paintingWithoutPicturesSaysNothing();
    void pictureOlderThanABlockIsShownBeforeThePainting();
    void sizesAreFollowedForAMoment();
};

void TestPaintPacer::showsAsSoonAsEventsAreHandled() {
    QWidget viewport;
    PaintPacer pacer(&viewport);
    QSignalSpy show(&pacer, &PaintPacer::show);
    pacer.pictureWaits();
    QCOMPARE(show.count(), 0);
    QVERIFY(show.wait(kWait));
    QCOMPARE(show.count(), 1);
}

void TestPaintPacer::oneShowForManyPictures() {
    QWidget viewport;
    PaintPacer pacer(&viewport);
    QSignalSpy show(&pacer, &PaintPacer::show);
    connect(&pacer, &PaintPacer::show, &pacer, &PaintPacer::nothingWaits);
    for (int i = 0; i < 4; ++i)
        pacer.pictureWaits();
    QVERIFY(show.wait(kWait));
    QCOMPARE(show.count(), 1);
    paint(viewport);  // nothing to be painted: no reason to show more
    QCoreApplication::processEvents();
    QCOMPARE(show.count(), 1);
}

void TestPaintPacer::waitsForThePainting() {
    QWidget viewport;
    PaintPacer pacer(&viewport);
    QSignalSpy show(&pacer, &PaintPacer::show);
    pacer.pictureSet();
    pacer.pictureWaits();
    QCoreApplication::processEvents();
    QCOMPARE(show.count(), 0);
    paint(viewport);
    QCOMPARE(show.count(), 0);  // not inside the painting
    QVERIFY(show.wait(kWait));
    QCOMPARE(show.count(), 1);
}

void TestPaintPacer::doesNotWaitForAPaintingThatNeverComes() {
    QWidget viewport;
    PaintPacer pacer(&viewport);
    QSignalSpy show(&pacer, &PaintPacer::show);
    QElapsedTimer time;
    time.start();
    pacer.pictureSet();
    pacer.pictureWaits();
    QVERIFY(show.wait(kWait));
    // Timers of Qt may be early by a part of their length.
    QVERIFY2(time.elapsed() >= 30, qPrintable(QString::number(time.elapsed())));
}

void TestPaintPacer::nothingWaitsAnyMore() {
    QWidget viewport;
    PaintPacer pacer(&viewport);
    QSignalSpy show(&pacer, &PaintPacer::show);
    pacer.pictureWaits();
    pacer.nothingWaits();
    pacer.pictureSet();
    paint(viewport);
    QCoreApplication::processEvents();
    QCOMPARE(show.count(), 0);
    pacer.pictureWaits();
    QVERIFY(show.wait(kWait));
}

void TestPaintPacer::paintingWithoutPicturesSaysNothing() {
    QWidget viewport;
    PaintPacer pacer(&viewport);
    QSignalSpy show(&pacer, &PaintPacer::show);
    paint(viewport);
    QCoreApplication::processEvents();
    QCOMPARE(show.count(), 0);
}

/// The window was busy between setting a picture and painting it, and a newer one came.
void TestPaintPacer::pictureOlderThanABlockIsShownBeforeThePainting() {
    QWidget viewport;
    PaintPacer pacer(&viewport);
    QSignalSpy show(&pacer, &PaintPacer::show);
    connect(&pacer, &PaintPacer::show, &pacer, &PaintPacer::nothingWaits);
    pacer.pictureSet();
    pacer.pictureWaits();
    QThread::msleep(310);  // the block itself: no event is handled
    paint(viewport);
    QCOMPARE(show.count(), 1);
    // Without something newer there is nothing to show.
    pacer.pictureSet();
    QThread::msleep(310);
    paint(viewport);
    QCOMPARE(show.count(), 1);
}

void TestPaintPacer::sizesAreFollowedForAMoment() {
    QWidget widget;
    widget.resize(100, 100);
    widget.show();
    QVERIFY(QTest::qWaitForWindowExposed(&widget));
    ResizeFollower follower(&widget);
    QSignalSpy resized(&follower, &ResizeFollower::resized);
    widget.resize(150, 120);
    QCoreApplication::processEvents();
    QCOMPARE(resized.count(), 0);  // nobody asked
    follower.follow();
    QSize seen;
    connect(&follower, &ResizeFollower::resized, &widget, [&] { seen = widget.size(); });
    widget.resize(200, 140);
    QVERIFY(resized.count() > 0 || resized.wait(kWait));
    QCOMPARE(seen, QSize(200, 140));
    const int before = resized.count();
    QTest::qWait(1100);  // the moment is over; there is no signal for that
    widget.resize(300, 200);
    QCoreApplication::processEvents();
    QCOMPARE(resized.count(), before);
}

QTEST_MAIN(TestPaintPacer)
#include "tst_paintpacer.moc"
