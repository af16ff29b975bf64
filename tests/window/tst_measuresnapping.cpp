// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "marks/coordinatesmark.h"
#include "support/measureview.h"

namespace {

// Pixels of a tile that are darker; the corner between the pixels is half a px before the first of them.
const QRect kDark(480, 470, 120, 90);
const QPointF kCorner(479.5, 469.5);  // as the calibration has it
const QPointF kSeen(480.0, 470.0);    // as it is seen
constexpr double kFound = 0.15;       // px, from a corner to where it is found

double distance(QPointF a, QPointF b) {
    return QLineF(a, b).length();
}

}  // namespace

/// Points that snap while figures are drawn and changed, in a view as the program has it.
class TestMeasureSnapping : public QObject {
    Q_OBJECT

private slots:
    void init() { v.emplace(); }
    void cleanup() { v.reset(); }

    void lineSnaps_data() { addZooms(); }
    void lineSnaps();
    void handleSnaps_data() { addZooms(); }
    void handleSnaps();
    void crossHairSnaps_data() { addZooms(); }
    void crossHairSnaps();
    void heldCrossHairSnaps_data() { addZooms(); }
    void heldCrossHairSnaps();
    void nothingToSnapTo();
    void snapsInTheOtherTile();
    void snapsToTheLivePicture();
    void ctrlWithoutMoving();
    void reachIsWhatIsSeen_data();
    void reachIsWhatIsSeen();

private:
    FigureMark* aLine() { return v->drawLine({-90, -60}, {80, 50}); }
    void select() { v->tools->choose(MeasureTool::Select); }

    std::optional<MeasureView> v;
};

void TestMeasureSnapping::lineSnaps() {
    QFETCH(double, zoom);
    v->darken(0, kDark);
    v->zoomTo(zoom, kCorner);
    v->tools->choose(MeasureTool::Line);
    const QPointF beside = v->placeOf(kCorner) + QPointF(5, -4);
    v->click(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(v->draft()->figure().points[0], kSeen) < kFound);
    v->move({120, 70});
    QCOMPARE(v->draft()->figure().points[1], v->scenePoint({120, 70}));
    v->click({120, 70});
    QCOMPARE(v->figure()->figure().points[1], v->scenePoint({120, 70}));
    // Without Ctrl a click is where it is; the end of a drag snaps as well.
    v->drag({120, 70}, beside, Qt::NoModifier);
    QCOMPARE(v->figure(1)->figure().points[1], v->scenePoint(beside));
    v->press({120, 70});
    v->move(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(v->draft()->figure().points[1], kSeen) < kFound);
    v->release(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(v->figure(2)->figure().points[1], kSeen) < kFound);
}

void TestMeasureSnapping::handleSnaps() {
    QFETCH(double, zoom);
    v->darken(0, kDark);
    v->zoomTo(zoom, kCorner);
    FigureMark* line = v->drawLine({-150, 0}, {-150, 90});
    select();
    v->drag({-147, 91}, v->placeOf(kCorner) + QPointF(-6, 3), Qt::ControlModifier);
    QVERIFY(distance(line->figure().points[1], kSeen) < kFound);
    QCOMPARE(v->list->undoStack()->count(), 2);
    v->list->undoStack()->undo();
    QCOMPARE(line->figure().points[1], v->scenePoint({-150, 90}));
    // All of a figure goes with the mouse, snapping or not.
    const QPointF middle(-150, 45);
    v->drag(middle, middle + QPointF(40, 0), Qt::ControlModifier);
    QVERIFY(distance(line->figure().points[1], v->scenePoint({-110, 90})) < 1e-9);
}

void TestMeasureSnapping::crossHairSnaps() {
    QFETCH(double, zoom);
    v->darken(0, kDark);
    v->zoomTo(zoom, kCorner);
    const QSignalSpy finished(v->scene.get(), &InteractiveScene::finished);
    for (const MeasureTool tool : {MeasureTool::Select, MeasureTool::Line}) {
        v->tools->choose(tool);
        v->scene->setMode(kCoordinatesMark);
        const QPointF beside = v->placeOf(kCorner) + QPointF(-5, -6);
        v->move(beside, {}, Qt::ControlModifier);
        v->press(beside, Qt::LeftButton, Qt::ControlModifier);
        QVERIFY(!v->scene->isPlacing());
        auto* crossHair = dynamic_cast<CoordinatesMark*>(v->scene->markList().last());
        QVERIFY(crossHair);
        QVERIFY(distance(crossHair->point(), kCorner) < kFound);
        const QPointF point = crossHair->point();
        // A hand that shakes.
        v->move(beside + QPointF(2, 1), Qt::LeftButton, Qt::ControlModifier);
        v->release(beside + QPointF(2, 1), Qt::LeftButton, Qt::ControlModifier);
        QCOMPARE(crossHair->point(), point);
        QVERIFY(crossHair->isSelected());  // as one placed without Ctrl
        QVERIFY(!v->scene->mouseGrabberItem());
        QCOMPARE(finished.last()[0].toDouble(), point.x());
        QCOMPARE(finished.last()[1].toDouble(), point.y());
    }
    QCOMPARE(finished.count(), 2);
    // Without Ctrl as ever.
    v->scene->setMode(kCoordinatesMark);
    const QPointF beside = v->placeOf(kCorner) + QPointF(-5, -6);
    v->click(beside);
    QCOMPARE(finished.last()[0].toDouble(), v->scenePoint(beside).x());
}

void TestMeasureSnapping::heldCrossHairSnaps() {
    QFETCH(double, zoom);
    v->darken(0, kDark);
    v->zoomTo(zoom, kCorner);
    select();
    v->scene->setMode(kCoordinatesMark);
    v->click({-40, -30});
    auto* crossHair = dynamic_cast<CoordinatesMark*>(v->scene->markList().last());
    const QPointF beside = v->placeOf(kCorner) + QPointF(4, -6);
    v->press({-40, -30});
    QCOMPARE(v->scene->heldCrossHair(), crossHair);
    v->move({-20, -20}, Qt::LeftButton);
    QCOMPARE(crossHair->point(), v->scenePoint({-20, -20}));
    v->move(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(crossHair->point(), kCorner) < kFound);
    QVERIFY(v->loupe()->isVisible());
    v->release(beside, Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(crossHair->point(), kCorner) < kFound);
    QVERIFY(!v->loupe()->isVisible());
    QVERIFY(!v->scene->mouseGrabberItem());
}

void TestMeasureSnapping::nothingToSnapTo() {
    v->zoomTo(1.0);
    const QSignalSpy missed(v->tools, &MeasureTools::snapMissed);
    v->tools->choose(MeasureTool::Line);
    v->click({-50, -40});
    QCOMPARE(missed.count(), 0);
    v->click({50, 40}, Qt::LeftButton, Qt::ControlModifier);
    QCOMPARE(missed.count(), 1);
    QCOMPARE(v->figure()->figure().points[1], v->scenePoint({50, 40}));
    v->scene->setMode(kCoordinatesMark);
    const QSignalSpy finished(v->scene.get(), &InteractiveScene::finished);
    v->click({0, 70}, Qt::LeftButton, Qt::ControlModifier);
    QCOMPARE(missed.count(), 2);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.first()[1].toDouble(), v->scenePoint({0, 70}).y());
    select();
    v->drag({50, 40}, {80, 80}, Qt::ControlModifier);
    QCOMPARE(missed.count(), 3);
    QCOMPARE(v->figure()->figure().points[1], v->scenePoint({80, 80}));
}

// The pixels of the second tile begin at its place.
void TestMeasureSnapping::snapsInTheOtherTile() {
    v->darken(1, {20, 470, 120, 90});
    const QPointF corner(MeasureView::kTile + 19.5, 469.5);
    v->zoomTo(1.0, corner);
    v->tools->choose(MeasureTool::Line);
    v->click(v->placeOf(corner) + QPointF(4, -5), Qt::LeftButton, Qt::ControlModifier);
    QVERIFY(distance(v->draft()->figure().points[0], QPointF(MeasureView::kTile + 20, 470)) < kFound);
}

void TestMeasureSnapping::snapsToTheLivePicture() {
    v->zoomTo(1.0, kCorner);
    v->tools->choose(MeasureTool::Line);
    v->click({-100, 0});
    const QPointF beside = v->placeOf(kCorner) + QPointF(5, -4);
    v->move(beside, {}, Qt::ControlModifier);
    QCOMPARE(v->draft()->figure().points[1], v->scenePoint(beside));
    v->darken(0, kDark);  // the mouse rests
    QVERIFY(distance(v->draft()->figure().points[1], kSeen) < kFound);
}

void TestMeasureSnapping::ctrlWithoutMoving() {
    v->darken(0, kDark);
    v->zoomTo(1.0, kCorner);
    v->tools->choose(MeasureTool::Line);
    v->click({-100, 0});
    const QPointF beside = v->placeOf(kCorner) + QPointF(5, -4);
    v->move(beside);
    QTest::keyPress(v->view.get(), Qt::Key_Control);
    QVERIFY(distance(v->draft()->figure().points[1], kSeen) < kFound);
    QTest::keyRelease(v->view.get(), Qt::Key_Control);
    QCOMPARE(v->draft()->figure().points[1], v->scenePoint(beside));
    // The cross-hair that is being placed goes along, too.
    v->scene->setMode(kCoordinatesMark);
    v->move(beside);
    CoordinatesMark* crossHair = nullptr;
    const auto items = v->scene->items();
    for (QGraphicsItem* item : items) {
        if (auto* found = dynamic_cast<CoordinatesMark*>(item))
            crossHair = found;
    }
    QVERIFY(crossHair);
    QCOMPARE(crossHair->point(), v->scenePoint(beside));
    QTest::keyPress(v->view.get(), Qt::Key_Control);
    QVERIFY(distance(crossHair->point(), kCorner) < kFound);
    QTest::keyRelease(v->view.get(), Qt::Key_Control);
    QCOMPARE(crossHair->point(), v->scenePoint(beside));
}

void TestMeasureSnapping::reachIsWhatIsSeen_data() {
    QTest::addColumn<QPointF>("away");
    QTest::addColumn<bool>("isFound");
    for (const QPointF side : {QPointF(1, 0), QPointF(-1, 0), QPointF(0, 1), QPointF(0, -1)}) {
        QTest::addRow("in reach %g %g", side.x(), side.y()) << side * 11.5 << true;
        QTest::addRow("beyond %g %g", side.x(), side.y()) << side * 12.5 << false;
    }
}

// On screen the corner between pixels is where the first of them begins.
void TestMeasureSnapping::reachIsWhatIsSeen() {
    QFETCH(QPointF, away);
    QFETCH(bool, isFound);
    v->darken(0, kDark);
    const QTransform toView = QTransform::fromTranslate(-100, -70).scale(3.0, 3.0);
    const QPointF seen = QPointF(kDark.topLeft());
    for (const AimFor what : {AimFor::Figure, AimFor::CrossHair}) {
        const Aim aim = aimAt(toView.map(seen) + away, toView, true, v->tiles(), what);
        QCOMPARE(aim.kind == SnapKind::Corner, isFound);
        if (isFound) {
            QVERIFY(distance(aim.point, what == AimFor::Figure ? seen : kCorner) < kFound);
            QVERIFY(distance(aim.seen, seen) < kFound);
        }
        const Aim plain = aimAt(toView.map(seen) + away, toView, false, v->tiles(), what);
        QCOMPARE(plain.kind, SnapKind::None);
        QCOMPARE(plain.point, toView.inverted().map(toView.map(seen) + away));
        QCOMPARE(plain.seen, plain.point);
    }
}

QTEST_MAIN(TestMeasureSnapping)
#include "tst_measuresnapping.moc"
