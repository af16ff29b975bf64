// SPDX-License-Identifier: Apache-2.0
#include <optional>

#include "support/measureclicks.h"
#include "support/measureview.h"

/// What becomes of a figure that is being drawn when something else happens, and what the mouse does while
/// nothing is drawn.
class TestMeasureDrafts : public QObject {
    Q_OBJECT

private slots:
    void init() { v.emplace(); }
    void cleanup() { v.reset(); }

    void withoutATile();
    void chosenToolGivesUp();
    void placingTakesTheMouse_data();
    void placingTakesTheMouse();
    void marksGoUnderADraft();
    void draftGoesWithTheMarks();
    void sceneGoesUnderADraft();
    void viewGoesUnderADraft();
    void middleButtonMovesTheView();
    void wheelZoomsUnderADraft();
    void draftIsNoMark();
    void leavingTheView();
    void toolTipsWait();
    void offIsAsEver();
    void offWhileDrawing();
    void figureZoomFollows();

private:
    std::optional<MeasureView> v;
};

void TestMeasureDrafts::withoutATile() {
    v->hasTiles = false;
    for (const auto& tool : kTools) {
        v->tools->choose(tool.second);
        for (const QPointF at : clicksOf(tool.second))
            v->click(at);
        QVERIFY(!v->draft());
        QVERIFY(!v->loupe()->isVisible());
    }
    QCOMPARE(v->scene->markCount(), 0);
}

void TestMeasureDrafts::chosenToolGivesUp() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->click({0, 0});
    const QSignalSpy changed(v->tools, &MeasureTools::toolChanged);
    v->tools->choose(MeasureTool::Circle);
    QVERIFY(!v->draft());
    QCOMPARE(changed.count(), 1);
    v->click({0, 0});
    v->tools->choose(MeasureTool::Circle);
    QVERIFY(!v->draft());
    QCOMPARE(changed.count(), 1);
}

void TestMeasureDrafts::placingTakesTheMouse_data() {
    QTest::addColumn<int>("mode");
    QTest::newRow("corner") << kCoordinatesMark;
    QTest::newRow("barcode") << kBarcodeTextMark;
    QTest::newRow("date and time") << kDateTimeTextMark;
}

void TestMeasureDrafts::placingTakesTheMouse() {
    QFETCH(int, mode);
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->click({0, 0});
    const QSignalSpy finished(v->scene.get(), &InteractiveScene::finished);
    v->scene->setMode(mode);
    v->move({30, 30});
    QVERIFY(!v->draft());
    v->click({30, 30});
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.first()[0].toDouble(), v->scenePoint({30, 30}).x());
    QVERIFY(!v->scene->isPlacing());
    // Then it is the tool's again, which has stayed.
    const int marks = v->scene->markCount();
    v->click({0, 0});
    v->click({50, 20});
    QCOMPARE(v->scene->markCount(), marks + 1);
}

void TestMeasureDrafts::marksGoUnderADraft() {
    v->zoomTo(1.0);
    v->drawLine({-50, 0}, {50, 0});
    QVERIFY(v->scene->saveMarks(0).isEmpty());
    v->click({0, 40});
    v->scene->clearMarks();
    QVERIFY(!v->draft());
    QVERIFY(!v->list->undoStack()->canUndo());
    v->click({0, 40});  // begins anew
    v->scene->loadMarks(0);
    QVERIFY(!v->draft());
    v->click({0, 40});
    v->click({50, 40});
    QCOMPARE(v->scene->markCount(), 2);
    v->list->undoStack()->undo();
    QCOMPARE(v->scene->markCount(), 1);
    v->list->undoStack()->redo();
    QCOMPARE(v->scene->markCount(), 2);
    // One that was read is taken as any other.
    v->list->remove(v->figure());
    v->scene->removeMark(v->figure());
    QCOMPARE(v->scene->markCount(), 0);
    QVERIFY(!v->list->undoStack()->canUndo());
}

void TestMeasureDrafts::draftGoesWithTheMarks() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    QVERIFY(v->scene->saveMarks(0).isEmpty());
    v->click({0, 40});
    QVERIFY(v->draft());
    v->scene->clearMarks();
    QVERIFY(!v->draft());
    v->click({0, 40});
    QVERIFY(v->draft());
    v->scene->loadMarks(0);
    QVERIFY(!v->draft());
    v->click({0, 40});
    v->click({50, 40});
    QCOMPARE(v->scene->markCount(), 1);
}

void TestMeasureDrafts::sceneGoesUnderADraft() {
    v->zoomTo(1.0);
    v->drawLine({-50, 0}, {50, 0});
    v->click({0, 40});
    v->scene.reset();
    v->move({20, 20});
    v->click({30, 30});
    v->key(Qt::Key_Left);
    v->tools->deleteSelected();
    v->tools->picturesChanged();
    v->paint();
    QVERIFY(!v->tools->selected());
    QVERIFY(!v->list->undoStack()->canUndo());
    v->tools->choose(MeasureTool::Circle);
    v->tools->setOn(false);
}

void TestMeasureDrafts::viewGoesUnderADraft() {
    v->zoomTo(1.0);
    v->drawLine({-50, 0}, {50, 0});
    v->click({0, 40});
    QVERIFY(v->draft());
    v->view.reset();
    QVERIFY(!v->draft());
    v->list->undoStack()->undo();
    QCOMPARE(v->scene->markCount(), 0);
}

void TestMeasureDrafts::middleButtonMovesTheView() {
    v->zoomTo(3.0);
    v->tools->choose(MeasureTool::Line);
    v->click({-20, -20});
    v->move({40, 10});
    const QPointF before = v->scenePoint({0, 0});
    v->press({40, 10}, Qt::MiddleButton);
    v->move({10, 40}, Qt::MiddleButton);
    v->release({10, 40}, Qt::MiddleButton);
    v->paint();
    QCOMPARE(v->scenePoint({0, 0}), before + QPointF(30, -30) / 3.0);
    QVERIFY(v->draft());
    // The left button is nobody's meanwhile.
    v->press({40, 10}, Qt::MiddleButton);
    v->mouse(QEvent::MouseButtonPress, {20, 10}, Qt::LeftButton, Qt::LeftButton | Qt::MiddleButton);
    v->mouse(QEvent::MouseButtonRelease, {20, 10}, Qt::LeftButton, Qt::MiddleButton);
    v->release({40, 10}, Qt::MiddleButton);
    QCOMPARE(v->scene->markCount(), 0);
    v->click({50, 60});
    QCOMPARE(v->scene->markCount(), 1);
    QCOMPARE(v->figure()->figure().points.last(), v->scenePoint({50, 60}));
    // While a figure is being dragged out it does nothing, and nothing is lost.
    v->press({-20, -60});
    v->mouse(QEvent::MouseButtonPress, {-20, -60}, Qt::MiddleButton, Qt::LeftButton | Qt::MiddleButton);
    v->move({10, -30}, Qt::LeftButton | Qt::MiddleButton);
    v->mouse(QEvent::MouseButtonRelease, {10, -30}, Qt::MiddleButton, Qt::LeftButton);
    v->release({10, -30});
    QCOMPARE(v->scene->markCount(), 2);
}

void TestMeasureDrafts::wheelZoomsUnderADraft() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->click({-20, -20});
    v->move({40, 10});
    v->wheel({40, 10}, 3);
    QVERIFY(v->view->transform().m11() > 1.2);
    // The open end is where the mouse is, without its having moved.
    QCOMPARE(v->draft()->figure().points.last(), v->scenePoint({40, 10}));
    v->view->scale(2.0, 2.0);
    v->paint();
    QCOMPARE(v->draft()->figure().points.last(), v->scenePoint({40, 10}));
}

void TestMeasureDrafts::draftIsNoMark() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->click({0, 0});
    QVERIFY(v->draft());
    QCOMPARE(v->scene->markCount(), 0);
    QVERIFY(v->scene->saveMarks(0).isEmpty());
    QVERIFY(WorkingFolder::read(QStringLiteral("mark0.txt")).isEmpty());
}

void TestMeasureDrafts::leavingTheView() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::HLine);
    v->move({0, 0});
    QVERIFY(v->draft());
    QVERIFY(v->loupe()->isVisible());
    QEvent leave(QEvent::Leave);
    QCoreApplication::sendEvent(v->viewport(), &leave);
    QVERIFY(!v->draft());
    QVERIFY(!v->loupe()->isVisible());
    v->tools->choose(MeasureTool::Line);
    v->click({0, 0});
    QCoreApplication::sendEvent(v->viewport(), &leave);
    QVERIFY(v->draft());  // it is only interrupted
    v->click({50, 10});
    QCOMPARE(v->scene->markCount(), 1);
}

void TestMeasureDrafts::toolTipsWait() {
    v->zoomTo(1.0);
    QObject* tools = v->tools;
    QHelpEvent event(QEvent::ToolTip, v->place({0, 0}).toPoint(), {});
    QVERIFY(!tools->eventFilter(v->viewport(), &event));
    v->tools->choose(MeasureTool::Line);
    QVERIFY(tools->eventFilter(v->viewport(), &event));
    // The cross-hair of Tilt has one of its own, and the loupe is there.
    v->tools->choose(MeasureTool::Select);
    v->scene->setMode(kCoordinatesMark);
    v->move({0, 0});
    QVERIFY(v->loupe()->isVisible());
    QVERIFY(tools->eventFilter(v->viewport(), &event));
    v->click({0, 0});
    v->move({90, 0});
    QVERIFY(!v->loupe()->isVisible());
    QVERIFY(!tools->eventFilter(v->viewport(), &event));
}

void TestMeasureDrafts::offIsAsEver() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->tools->setOn(false);
    v->scene->setMode(0);
    const QCursor cursor = v->viewport()->cursor();
    v->click({0, 0});
    v->click({50, 50});
    QCOMPARE(v->scene->markCount(), 0);
    QVERIFY(!v->draft());
    QVERIFY(!v->loupe()->isVisible());
    QVERIFY(!v->overlay()->isVisible());
    QCOMPARE(v->viewport()->cursor().shape(), cursor.shape());
    QCOMPARE(cursor.shape(), Qt::ArrowCursor);
    v->tools->picturesChanged();
    v->wheel({0, 0}, 2);
    QCOMPARE(v->scene->figureZoom, 1.0);
    // A corner is placed with Ctrl as without.
    v->darken(0, {480, 480, 60, 60});
    v->scene->setMode(kCoordinatesMark);
    const QSignalSpy finished(v->scene.get(), &InteractiveScene::finished);
    v->click({3, 5}, Qt::LeftButton, Qt::ControlModifier);
    QCOMPARE(finished.count(), 1);
    QCOMPARE(finished.first()[0].toDouble(), v->scenePoint({3, 5}).x());
}

void TestMeasureDrafts::offWhileDrawing() {
    v->zoomTo(1.0);
    v->drawLine({-50, 0}, {50, 0});
    v->tools->setOn(false);
    QVERIFY(!v->tools->selected());
    v->tools->setOn(true);
    v->click({0, 30});
    QVERIFY(v->draft());
    v->tools->setOn(false);
    QVERIFY(!v->draft());
    QCOMPARE(v->scene->markCount(), 1);
    v->tools->setOn(true);
    QCOMPARE(v->tools->tool(), MeasureTool::Line);
    v->click({0, 30});
    v->click({30, 30});
    QCOMPARE(v->scene->markCount(), 2);
}

void TestMeasureDrafts::figureZoomFollows() {
    v->zoomTo(3.0);
    QCOMPARE(v->scene->figureZoom, 3.0);
    v->view->scale(0.5, 0.5);
    v->paint();
    QCOMPARE(v->scene->figureZoom, 1.5);
    v->wheel({10, 10}, -1);
    QCOMPARE(v->scene->figureZoom, v->view->transform().m11());
    v->tools->setOn(false);
    QCOMPARE(v->scene->figureZoom, 1.0);
    v->tools->setOn(true);
    QCOMPARE(v->scene->figureZoom, v->view->transform().m11());
}

QTEST_MAIN(TestMeasureDrafts)
#include "tst_measuredrafts.moc"
