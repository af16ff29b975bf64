// SPDX-License-Identifier: Apache-2.0
#include <cmath>
#include <optional>

#include "support/measureclicks.h"
#include "support/measureview.h"

namespace {

void addToolsAtZooms() {
    QTest::addColumn<MeasureTool>("tool");
    QTest::addColumn<double>("zoom");
    for (const auto& tool : kTools) {
        for (const double zoom : kZooms)
            QTest::addRow("%s at %g", tool.first, zoom) << tool.second << zoom;
    }
}

/// Of a polygon of more corners than one can have.
QPointF corner(int i) {
    const double angle = i * 6.283 / 53;
    return {double(qRound(250 * std::cos(angle))), double(qRound(250 * std::sin(angle)))};
}

bool isHoverTool(MeasureTool tool) {
    return tool == MeasureTool::HLine || tool == MeasureTool::VLine;
}

}  // namespace

/// Drawing figures with the mouse, in a view as the program has it.
class TestMeasureTools : public QObject {
    Q_OBJECT

private slots:
    void init() { v.emplace(); }
    void cleanup() { v.reset(); }

    void clicksDraw_data() { addToolsAtZooms(); }
    void clicksDraw();
    void measuresLiveWhileDrawing_data() { addToolsAtZooms(); }
    void measuresLiveWhileDrawing();
    void dragDraws_data();
    void dragDraws();
    void aSmallDragIsAClick_data();
    void aSmallDragIsAClick();
    void theToolStays();
    void hoverLinesFollowTheMouse();
    void rightClickGivesUp_data() { addToolsAtZooms(); }
    void rightClickGivesUp();
    void rightClickEndsAPolygon_data();
    void rightClickEndsAPolygon();
    void rightClickWithNothingInProgress();
    void menuOfTheKeyboard();
    void doubleClickEndsAPolygon();
    void doubleClickDrawsOnce_data();
    void doubleClickDrawsOnce();
    void clicksThatMeasureNothing();
    void polygonClosesAtItsFirstCorner();
    void polygonOfFiftyCorners();
    void clickAfterTheFiftieth_data();
    void clickAfterTheFiftieth();

private:
    std::optional<MeasureView> v;
};

void TestMeasureTools::clicksDraw() {
    QFETCH(MeasureTool, tool);
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    v->tools->choose(tool);
    const QSignalSpy selected(v->tools, &MeasureTools::selectionChanged);
    Figure expected{kindOf(tool), {}, 0.0, {}, 1, 1};
    const QVector<QPointF> clicks = clicksOf(tool);
    for (const QPointF at : clicks) {
        QCOMPARE(v->scene->markCount(), 0);
        v->click(at);
        expected.points.append(v->scenePoint(at));
    }
    if (tool == MeasureTool::Polygon)
        v->click(clicks.first() + QPointF(3, 2));  // near enough
    QCOMPARE(v->scene->markCount(), 1);
    QVERIFY(!v->draft());
    QCOMPARE(v->tools->selected(), v->figure());
    QCOMPARE(selected.count(), 1);
    Figure drawn = v->figures().first();
    expected.color = drawn.color;
    QVERIFY(drawn == expected);
    QVERIFY(!v->figure()->measures().isEmpty());

    v->list->undoStack()->undo();
    QCOMPARE(v->scene->markCount(), 0);
    QVERIFY(!v->tools->selected());
    v->list->undoStack()->redo();
    QCOMPARE(v->figures(), QVector<Figure>{drawn});
}

void TestMeasureTools::measuresLiveWhileDrawing() {
    QFETCH(MeasureTool, tool);
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    v->tools->choose(tool);
    QVector<QPointF> clicks = clicksOf(tool);
    const QPointF last = clicks.takeLast();
    for (const QPointF at : clicks)
        v->click(at);
    v->move(last);
    QVERIFY(v->draft());
    const QVector<Measure> there = v->draft()->measures();
    QVERIFY(!there.isEmpty());
    v->move(last + QPointF(11, 17));
    QVERIFY(v->draft()->measures() != there);
    v->move(last);
    QCOMPARE(v->draft()->measures(), there);
    v->click(last);
    if (tool == MeasureTool::Polygon)
        v->click(clicks.first());
    QCOMPARE(v->scene->markCount(), 1);
    QCOMPARE(v->figure()->measures(), there);  // what was seen is what is there
}

void TestMeasureTools::dragDraws_data() {
    QTest::addColumn<MeasureTool>("tool");
    QTest::addColumn<double>("zoom");
    QTest::addColumn<bool>("isOneDrag");
    for (const auto& tool : kTools) {
        const bool isOne = clicksOf(tool.second).size() == 2;
        for (const double zoom : kZooms) {
            if (!isHoverTool(tool.second))
                QTest::addRow("%s at %g", tool.first, zoom) << tool.second << zoom << isOne;
        }
    }
}

void TestMeasureTools::dragDraws() {
    QFETCH(MeasureTool, tool);
    QFETCH(double, zoom);
    QFETCH(bool, isOneDrag);
    v->zoomTo(zoom);
    v->tools->choose(tool);
    v->drag({-50, -40}, {31, 62});
    QCOMPARE(v->scene->markCount(), isOneDrag ? 1 : 0);
    if (isOneDrag) {
        const QVector<QPointF> points{v->scenePoint({-50, -40}), v->scenePoint({31, 62})};
        QCOMPARE(v->figure()->figure().points, points);
        QVERIFY(!v->draft());
    } else {
        QCOMPARE(v->draft()->pointsTaken() + 0, 1);
    }
}

void TestMeasureTools::aSmallDragIsAClick_data() {
    QTest::addColumn<QPointF>("distance");
    QTest::addColumn<bool>("draws");
    QTest::newRow("none") << QPointF(0, 0) << false;
    QTest::newRow("four") << QPointF(0, 4) << false;
    QTest::newRow("five") << QPointF(5, 0) << true;
}

void TestMeasureTools::aSmallDragIsAClick() {
    QFETCH(QPointF, distance);
    QFETCH(bool, draws);
    v->zoomTo(3.0);
    v->tools->choose(MeasureTool::Line);
    v->drag({10, 10}, QPointF(10, 10) + distance);
    QCOMPARE(v->scene->markCount(), draws ? 1 : 0);
    if (!draws) {
        v->click({60, 50});
        QCOMPARE(v->figure()->figure().points.first(), v->scenePoint({10, 10}));
    }
}

void TestMeasureTools::theToolStays() {
    v->zoomTo(1.0);
    v->drawLine({-50, 0}, {50, 0});
    v->click({-50, 40});
    QVERIFY(!v->tools->selected());  // the next one has begun
    v->click({50, 40});
    v->drag({-50, 80}, {50, 80});
    QCOMPARE(v->scene->markCount(), 3);
    QCOMPARE(v->tools->tool(), MeasureTool::Line);
}

void TestMeasureTools::hoverLinesFollowTheMouse() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::HLine);
    QVERIFY(!v->draft());
    v->move({20, 30});
    QCOMPARE(v->draft()->figure().points.first(), v->scenePoint({20, 30}));
    v->move({25, 35});
    QCOMPARE(v->draft()->figure().points.first(), v->scenePoint({25, 35}));
    v->click({25, 35});
    QCOMPARE(v->scene->markCount(), 1);
    v->move({25, 80});
    QVERIFY(v->draft());  // the next one
    QCOMPARE(v->figure()->figure().points.first(), v->scenePoint({25, 35}));
}

void TestMeasureTools::rightClickGivesUp() {
    QFETCH(MeasureTool, tool);
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    v->tools->choose(tool);
    QVector<QPointF> clicks = clicksOf(tool);
    if (tool == MeasureTool::Polygon)
        clicks = clicks.mid(0, 2);  // of two corners there is nothing to end
    else
        clicks.removeLast();
    for (const QPointF at : clicks)
        v->click(at);
    const int menus = menusAskedFor(v->view.get(), [this] {
        v->press({7, 9}, Qt::RightButton);
        askForMenu(v->view.get(), v->place({7, 9}).toPoint());
        v->release({7, 9}, Qt::RightButton);
    });
    QCOMPARE(menus, isHoverTool(tool) ? 1 : 0);  // of those nothing is clicked yet
    QVERIFY(!v->draft() || isHoverTool(tool));
    QCOMPARE(v->scene->markCount(), 0);
    QCOMPARE(v->list->undoStack()->count(), 0);
    QCOMPARE(v->tools->tool(), tool);
    // And from the start again.
    for (const QPointF at : clicksOf(tool))
        v->click(at);
    if (tool == MeasureTool::Polygon)
        v->click({5, 5}, Qt::RightButton);
    QCOMPARE(v->scene->markCount(), 1);
    QCOMPARE(v->figure()->figure().points.first(), v->scenePoint(clicksOf(tool).first()));
}

void TestMeasureTools::rightClickEndsAPolygon_data() {
    QTest::addColumn<int>("menuAt");
    QTest::newRow("menu after the press") << 1;
    QTest::newRow("menu after the release") << 2;
    QTest::newRow("menu before the press") << 0;
}

void TestMeasureTools::rightClickEndsAPolygon() {
    QFETCH(int, menuAt);
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Polygon);
    for (const QPointF at : {QPointF(-50, -50), QPointF(60, -40), QPointF(10, 70)})
        v->click(at);
    const QPointF at(30, 30);
    const auto rightClick = [&] {
        for (int step = 0; step < 3; ++step) {
            if (step == menuAt)
                askForMenu(v->view.get(), v->place(at).toPoint());
            if (step == 0)
                v->press(at, Qt::RightButton);
            else if (step == 1)
                v->release(at, Qt::RightButton);
        }
    };
    QCOMPARE(menusAskedFor(v->view.get(), rightClick), 0);
    QCOMPARE(v->scene->markCount(), 1);
    QCOMPARE(v->figure()->figure().points.size(), 3);  // where it was clicked is no corner
    QVERIFY(!v->draft());
    // The next one is everybody's.
    QCOMPARE(menusAskedFor(v->view.get(), rightClick), 1);
    QCOMPARE(menusAskedFor(v->view.get(), rightClick), 1);
}

void TestMeasureTools::rightClickWithNothingInProgress() {
    v->zoomTo(1.0);
    for (const MeasureTool tool : {MeasureTool::Select, MeasureTool::Line, MeasureTool::HLine}) {
        v->tools->choose(tool);
        v->move({10, 10});
        const int menus = menusAskedFor(v->view.get(), [this] {
            v->press({10, 10}, Qt::RightButton);
            askForMenu(v->view.get(), v->place({10, 10}).toPoint());
            v->release({10, 10}, Qt::RightButton);
        });
        QCOMPARE(menus, 1);
    }
}

void TestMeasureTools::menuOfTheKeyboard() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->click({0, 0});
    const auto ask = [this] { askForMenu(v->view.get(), {400, 300}, QContextMenuEvent::Keyboard); };
    QCOMPARE(menusAskedFor(v->view.get(), ask), 1);
    QVERIFY(v->draft());
}

void TestMeasureTools::doubleClickEndsAPolygon() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Polygon);
    v->click({-50, -50});
    v->doubleClick({60, -40});  // nothing to end yet
    QVERIFY(v->draft());
    QCOMPARE(v->draft()->pointsTaken(), 2);
    v->doubleClick({10, 70});
    QCOMPARE(v->scene->markCount(), 1);
    QCOMPARE(v->figure()->figure().points.size(), 3);
    QVERIFY(!v->draft());
}

void TestMeasureTools::doubleClickDrawsOnce_data() {
    addToolsAtZooms();
}

void TestMeasureTools::doubleClickDrawsOnce() {
    QFETCH(MeasureTool, tool);
    QFETCH(double, zoom);
    v->zoomTo(zoom);
    v->tools->choose(tool);
    QVector<QPointF> clicks = clicksOf(tool);
    const QPointF last = clicks.takeLast();
    for (const QPointF at : clicks)
        v->click(at);
    v->doubleClick(last);
    QCOMPARE(v->scene->markCount(), 1);
    QCOMPARE(v->figure()->figure().points.size(), clicks.size() + 1);
    QVERIFY(!v->draft() || v->draft()->pointsTaken() == 0);
}

void TestMeasureTools::clicksThatMeasureNothing() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Line);
    v->click({20, 20});
    v->click({20, 20});
    QCOMPARE(v->draft()->pointsTaken(), 1);
    v->tools->choose(MeasureTool::Rectangle);
    v->click({20, 20});
    v->click({70, 20});  // no height
    QCOMPARE(v->draft()->pointsTaken(), 1);
    v->click({70, 21});
    QCOMPARE(v->scene->markCount(), 1);
    v->tools->choose(MeasureTool::Circle);
    v->click({-20, -20});
    v->click({0, 0});
    v->click({20, 20});  // on one line
    QCOMPARE(v->draft()->pointsTaken(), 2);
    v->click({20, -20});
    QCOMPARE(v->scene->markCount(), 2);
    v->tools->choose(MeasureTool::Polygon);
    v->click({-20, -20});
    v->click({-20, -20});
    QCOMPARE(v->draft()->pointsTaken(), 1);
    QCOMPARE(v->scene->markCount(), 2);
}

void TestMeasureTools::polygonClosesAtItsFirstCorner() {
    for (const double zoom : kZooms) {  // near is what looks so
        v->zoomTo(zoom);
        v->tools->choose(MeasureTool::Polygon);
        const int before = v->scene->markCount();
        for (const QPointF at : {QPointF(-50, -50), QPointF(60, -40), QPointF(10, 70), QPointF(-50, -38)})
            v->click(at);
        QCOMPARE(v->scene->markCount(), before);  // 12 px beside it
        v->click({-50, -59});
        QCOMPARE(v->scene->markCount(), before + 1);
        QCOMPARE(v->figure(before)->figure().points.size(), 4);
    }
}

void TestMeasureTools::polygonOfFiftyCorners() {
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Polygon);
    for (int i = 0; i < 49; ++i)
        v->click(corner(i));
    QCOMPARE(v->scene->markCount(), 0);
    v->click(corner(49));
    QCOMPARE(v->scene->markCount(), 1);
    QCOMPARE(v->figure()->figure().points.size(), 50);
    v->click(corner(50));
    QCOMPARE(v->scene->markCount(), 1);
    QCOMPARE(v->figure()->figure().points.size(), 50);
}

void TestMeasureTools::clickAfterTheFiftieth_data() {
    QTest::addColumn<int>("between");
    QTest::addColumn<bool>("begins");
    QTest::newRow("nothing between") << 0 << false;
    QTest::newRow("a double click's second half") << 1 << false;
    QTest::newRow("undone between") << 2 << true;
    QTest::newRow("chosen again between") << 3 << true;
    QTest::newRow("off and on between") << 4 << true;
}

/// Whoever has not counted goes on clicking: that begins no other polygon.
void TestMeasureTools::clickAfterTheFiftieth() {
    QFETCH(int, between);
    QFETCH(bool, begins);
    v->zoomTo(1.0);
    v->tools->choose(MeasureTool::Polygon);
    const QSignalSpy full(v->tools, &MeasureTools::polygonFull);
    for (int i = 0; i < 50; ++i)
        v->click(corner(i));
    FigureMark* polygon = v->figure();
    QVERIFY(polygon);
    QCOMPARE(full.count(), 0);
    if (between == 1) {
        v->mouse(QEvent::MouseButtonDblClick, corner(49), Qt::LeftButton, Qt::LeftButton);
        v->release(corner(49));
        QVERIFY(!v->draft());
    } else if (between == 2) {
        v->list->undoStack()->undo();
    } else if (between == 3) {
        v->tools->choose(MeasureTool::Polygon);
    } else if (between == 4) {
        v->tools->setOn(false);
        v->tools->setOn(true);
    }
    v->click(corner(50));
    QCOMPARE(v->draft() != nullptr, begins);
    QCOMPARE(full.count(), begins ? 0 : 1);
    if (begins)
        return;
    QCOMPARE(v->tools->selected(), polygon);
    QCOMPARE(v->scene->markCount(), 1);
    // Now that it has been said, it is another one that is meant.
    v->click(corner(51));
    QVERIFY(v->draft());
    QCOMPARE(v->draft()->pointsTaken(), 1);
    QCOMPARE(full.count(), 1);
}

QTEST_MAIN(TestMeasureTools)
#include "tst_measuretools.moc"
