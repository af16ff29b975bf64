// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <memory>

#include "marks/coordinatesmark.h"
#include "marks/figuremark.h"
#include "marks/interactivescene.h"
#include "measure/figurelist.h"
#include "support/marktest.h"
#include "support/workingfolder.h"

/// Figures of a scene and their undo.
class TestFigureList : public QObject {
    Q_OBJECT

private slots:
    void init();
    void cleanup();

    void addUndoRedo_data();
    void addUndoRedo();
    void removedComesBackAtItsPlace();
    void changes();
    void noChangeIsNoCommand();
    void nudgesInARowAreOne();
    void nudgesOfAHandle();
    void nudgeOfAHandleThatIsNone();
    void polygonsHandleThatMeasuresNothing();
    void nudgesAlongALine_data();
    void nudgesAlongALine();
    void nudgesThatCancelOut_data();
    void nudgesThatCancelOut();
    void aChangeEndsTheRow();
    void longHistoryIsExact();
    void historyHasALimit();
    void commandsFollowAFigureThatCameBack();
    void byOtherHands_data();
    void byOtherHands();
    void clearedWithoutAFigure_data();
    void clearedWithoutAFigure();
    void crossHairsMayGo();
    void figuresOfTheFile();
    void whatIsNotInTheListIsLeft();
    void withoutAScene();
    void textsOfCommands();

private:
    static Figure line(double x) {
        return {FigureKind::Line, {{x, 10.1}, {x + 50.3, 60}}, 0.0, Qt::red, 3, 1};
    }
    FigureMark* at(int index) const { return dynamic_cast<FigureMark*>(scene->markList()[index]); }
    QVector<Figure> figures() const {
        QVector<Figure> all;
        for (int i = 0; i < scene->markCount(); ++i) {
            if (at(i))
                all.append(at(i)->figure());
        }
        return all;
    }
    void undo() { list->undoStack()->undo(); }
    void redo() { list->undoStack()->redo(); }

    std::unique_ptr<WorkingFolder> folder;
    std::unique_ptr<InteractiveScene> scene;
    std::unique_ptr<FigureList> list;
};

void TestFigureList::init() {
    folder = std::make_unique<WorkingFolder>();
    scene = std::make_unique<InteractiveScene>(nullptr, 0);
    scene->addRect(0, 0, 640, 480);
    list = std::make_unique<FigureList>(scene.get());
}

void TestFigureList::cleanup() {
    list.reset();
    scene.reset();
    folder.reset();
}

void TestFigureList::addUndoRedo_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<int>("points");
    QTest::newRow("line") << int(FigureKind::Line) << 2;
    QTest::newRow("circle") << int(FigureKind::Circle) << 3;
    QTest::newRow("arc") << int(FigureKind::Arc) << 3;
    QTest::newRow("rectangle") << int(FigureKind::Rectangle) << 2;
    QTest::newRow("ellipse") << int(FigureKind::Ellipse) << 2;
    QTest::newRow("polygon") << int(FigureKind::Polygon) << 7;
    QTest::newRow("horizontal") << int(FigureKind::HLine) << 1;
    QTest::newRow("vertical") << int(FigureKind::VLine) << 1;
}

void TestFigureList::addUndoRedo() {
    QFETCH(int, kind);
    QFETCH(int, points);
    Figure figure{static_cast<FigureKind>(kind), {}, 0.0, QColor(1, 2, 3), 2, 1};
    for (int i = 0; i < points; ++i)
        figure.points.append({1.0 / 3.0 + i * 40.7, 100.1 + i * i * 11.3});
    if (figure.kind == FigureKind::Rectangle || figure.kind == FigureKind::Ellipse)
        figure.angle = 12.3456789;
    FigureMark* mark = list->add(figure);
    QVERIFY(mark);
    QVERIFY(mark->isComplete());
    QCOMPARE(scene->indexOf(mark), 0);
    QVERIFY(mark->figure() == figure);
    undo();
    QCOMPARE(scene->markCount(), 0);
    redo();
    QVERIFY(at(0)->figure() == figure);
    list->remove(at(0));
    QCOMPARE(scene->markCount(), 0);
    undo();
    QVERIFY(at(0)->figure() == figure);
    list->nudge(at(0), {0.1, -0.7});
    QVERIFY(at(0)->figure() != figure);
    undo();
    QVERIFY(at(0)->figure() == figure);
}

void TestFigureList::removedComesBackAtItsPlace() {
    for (int i = 0; i < 4; ++i)
        list->add(line(10.0 * i));
    const QVector<Figure> all = figures();
    for (int i = 0; i < 4; ++i) {
        list->remove(at(i));
        QCOMPARE(scene->markCount(), 3);
        undo();
        QVERIFY(figures() == all);
    }
    list->remove(at(3));
    list->remove(at(0));
    list->remove(at(1));
    for (int i = 0; i < 3; ++i)
        undo();
    QVERIFY(figures() == all);
}

void TestFigureList::changes() {
    FigureMark* mark = list->add(line(5));
    const Figure before = mark->figure();
    mark->moveHandle(1, {300.123456789, 7});
    const Figure after = mark->figure();
    list->change(mark, before);
    QVERIFY(mark->figure() == after);
    undo();
    QVERIFY(mark->figure() == before);
    redo();
    QVERIFY(mark->figure() == after);
    QCOMPARE(list->undoStack()->count(), 2);
}

void TestFigureList::noChangeIsNoCommand() {
    FigureMark* mark = list->add(line(5));
    list->change(mark, mark->figure());
    QCOMPARE(list->undoStack()->count(), 1);
}

void TestFigureList::nudgesInARowAreOne() {
    FigureMark* mark = list->add(line(5));
    const Figure before = mark->figure();
    for (int i = 0; i < 10; ++i)
        list->nudge(mark, {0.1, 0.0});
    QCOMPARE(list->undoStack()->count(), 2);
    const Figure after = mark->figure();
    undo();
    QVERIFY(mark->figure() == before);
    redo();
    QVERIFY(mark->figure() == after);
    FigureMark* other = list->add(line(90));
    list->nudge(other, {1, 0});
    list->nudge(mark, {1, 0});
    list->nudge(mark, {1, 0});
    QCOMPARE(list->undoStack()->count(), 5);
    undo();
    QVERIFY(mark->figure() == after);
}

void TestFigureList::nudgesOfAHandle() {
    FigureMark* mark = list->add(line(5));
    const Figure before = mark->figure();
    for (int i = 0; i < 10; ++i)
        QVERIFY(list->nudgeHandle(mark, 1, {0.1, 0.0}));
    QCOMPARE(list->undoStack()->count(), 2);
    const Figure after = mark->figure();
    QCOMPARE(after.points[0], before.points[0]);
    QVERIFY(QLineF(after.points[1], before.points[1] + QPointF(1, 0)).length() < 1e-9);
    undo();
    QVERIFY(mark->figure() == before);
    redo();
    QVERIFY(mark->figure() == after);
    // The other one's are a step of their own, and all of the figure's.
    QVERIFY(list->nudgeHandle(mark, 0, {0, 1}));
    list->nudge(mark, {1, 0});
    list->nudge(mark, {1, 0});
    QVERIFY(list->nudgeHandle(mark, 0, {0, 1}));
    QCOMPARE(list->undoStack()->count(), 5);
    for (int i = 0; i < 3; ++i)
        undo();
    QVERIFY(mark->figure() == after);
}

void TestFigureList::nudgeOfAHandleThatIsNone() {
    FigureMark* mark = list->add(line(5));
    Figure flat = mark->figure();
    flat.points[1] = flat.points[0] + QPointF(1, 0);
    mark->setFigure(flat);
    QVERIFY(!list->nudgeHandle(mark, 1, {-1, 0}));  // onto the other one
    QVERIFY(!list->nudgeHandle(mark, 2, {1, 0}));
    QVERIFY(!list->nudgeHandle(mark, -1, {1, 0}));
    QVERIFY(mark->figure() == flat);
    QCOMPARE(list->undoStack()->count(), 1);
}

void TestFigureList::polygonsHandleThatMeasuresNothing() {
    const Figure drawn{FigureKind::Polygon, {{10, 10}, {50, 10}, {50, 30}, {10, 40}}, 0.0, Qt::red, 1, 1};
    FigureMark* mark = list->add(drawn);
    QVERIFY(!list->nudgeHandle(mark, 1, {-40, 0}));  // onto the one before
    QVERIFY(!list->nudgeHandle(mark, 3, {0, -30}));  // onto the first
    QVERIFY(mark->figure() == drawn);
    QCOMPARE(list->undoStack()->count(), 1);
    QVERIFY(list->nudgeHandle(mark, 2, {0, 1}));
    FigureMark* triangle =
        list->add({FigureKind::Polygon, {{10, 10}, {50, 10}, {30, 11}}, 0.0, Qt::red, 1, 1});
    QVERIFY(!list->nudgeHandle(triangle, 2, {0, -1}));  // into line with the others
    QVERIFY(list->nudgeHandle(triangle, 2, {0, -2}));
    // One of the file may repeat its first corner; the others can be moved, and so can that one.
    FigureMark* closed =
        list->add({FigureKind::Polygon, {{10, 10}, {50, 10}, {50, 30}, {10, 10}}, 0.0, Qt::red, 1, 1});
    QVERIFY(list->nudgeHandle(closed, 1, {1, 0}));
    QVERIFY(list->nudgeHandle(closed, 3, {0, 1}));
}

void TestFigureList::nudgesAlongALine_data() {
    QTest::addColumn<int>("kind");
    QTest::addColumn<QPointF>("along");
    QTest::newRow("horizontal") << int(FigureKind::HLine) << QPointF(1, 0);
    QTest::newRow("vertical") << int(FigureKind::VLine) << QPointF(0, -1);
}

/// Nothing of it is seen, so there is nothing to undo, and the line's point stays in its tile.
void TestFigureList::nudgesAlongALine() {
    QFETCH(int, kind);
    QFETCH(QPointF, along);
    FigureMark* mark = list->add({static_cast<FigureKind>(kind), {{20, 30}}, 0.0, Qt::red, 1, 1});
    const Figure drawn = mark->figure();
    list->nudge(mark, along);
    QVERIFY(list->nudgeHandle(mark, 0, along));
    QVERIFY(mark->figure() == drawn);
    QCOMPARE(list->undoStack()->count(), 1);
    const QPointF across(along.y(), along.x());
    list->nudge(mark, along + across);
    QCOMPARE(mark->figure().points[0], drawn.points[0] + across);
    QVERIFY(list->nudgeHandle(mark, 0, along + across));
    QCOMPARE(mark->figure().points[0], drawn.points[0] + across * 2);
}

void TestFigureList::nudgesThatCancelOut_data() {
    QTest::addColumn<int>("handle");
    QTest::newRow("the figure's") << -1;
    QTest::newRow("a handle's") << 1;
}

void TestFigureList::nudgesThatCancelOut() {
    QFETCH(int, handle);
    FigureMark* mark = list->add(line(5));
    const Figure drawn = mark->figure();
    const auto nudge = [&](QPointF by) {
        if (handle < 0)
            list->nudge(mark, by);
        else
            QVERIFY(list->nudgeHandle(mark, handle, by));
    };
    nudge({1, 0});
    for (int i = 0; i < 10; ++i)
        nudge({-0.1, 0});
    QVERIFY(mark->figure() == drawn);  // to the last digit
    QCOMPARE(list->undoStack()->count(), 1);
    QCOMPARE(list->undoStack()->index(), 1);
    QVERIFY(!list->undoStack()->canRedo());
    nudge({0, 1});
    QCOMPARE(list->undoStack()->count(), 2);
    undo();
    QVERIFY(mark->figure() == drawn);
    undo();
    QCOMPARE(scene->markCount(), 0);
}

void TestFigureList::aChangeEndsTheRow() {
    FigureMark* mark = list->add(line(5));
    list->nudge(mark, {1, 0});
    const Figure before = mark->figure();
    mark->shiftBy(3, 3);
    list->change(mark, before);
    list->nudge(mark, {1, 0});
    QCOMPARE(list->undoStack()->count(), 4);
    undo();
    undo();
    QVERIFY(mark->figure() == before);
}

void TestFigureList::longHistoryIsExact() {
    QVector<QVector<Figure>> states{figures()};
    const auto note = [&] {
        if (list->undoStack()->index() == states.size())
            states.append(figures());
        else
            states.last() = figures();  // it merged
    };
    for (int i = 0; i < 60; ++i) {
        const int count = scene->markCount();
        if (count < 3 || i % 5 == 0)
            list->add(line(i * 1.1));
        else if (i % 5 == 1)
            list->remove(at(i % count));
        else if (i % 5 == 2)
            list->nudge(at(i % count), {0.1 * i, 1.0 / 3.0});
        else if (i % 5 == 3)
            list->nudge(at((i - 1) % count), {0.1, 0.1});
        else {
            FigureMark* mark = at(i % count);
            const Figure before = mark->figure();
            mark->moveHandle(i % 2, {i * 3.7, 1000.0 / i});
            list->change(mark, before);
        }
        note();
    }
    QCOMPARE(list->undoStack()->index(), states.size() - 1);
    for (int i = states.size() - 2; i >= 0; --i) {
        undo();
        QVERIFY(figures() == states[i]);
    }
    for (int i = 1; i < states.size(); ++i) {
        redo();
        QVERIFY(figures() == states[i]);
    }
}

void TestFigureList::historyHasALimit() {
    for (int i = 0; i < 230; ++i)
        list->add(line(i));
    QCOMPARE(list->undoStack()->count(), 200);
    while (list->undoStack()->canUndo())
        undo();
    QCOMPARE(scene->markCount(), 30);
}

// The command before it was made for a mark that is no more.
void TestFigureList::commandsFollowAFigureThatCameBack() {
    FigureMark* mark = list->add(line(5));
    list->nudge(mark, {20, 30});
    const Figure moved = mark->figure();
    list->remove(mark);
    undo();
    QVERIFY(at(0)->figure() == moved);
    undo();
    QVERIFY(at(0)->figure() == line(5));
    undo();
    QCOMPARE(scene->markCount(), 0);
    redo();
    redo();
    QVERIFY(at(0)->figure() == moved);
    redo();
    QCOMPARE(scene->markCount(), 0);
}

void TestFigureList::byOtherHands_data() {
    QTest::addColumn<int>("way");
    QTest::newRow("removed") << 0;
    QTest::newRow("cleared") << 1;
    QTest::newRow("loaded") << 2;
}

void TestFigureList::byOtherHands() {
    QFETCH(int, way);
    list->add(line(5));
    list->add(line(15));
    undo();
    QVERIFY(scene->saveMarks(0).isEmpty());
    const QSignalSpy emptied(list.get(), &FigureList::emptied);
    if (way == 0)
        scene->removeMark(at(0));
    else if (way == 1)
        scene->clearMarks();
    else
        scene->loadMarks(0);
    QCOMPARE(list->undoStack()->count(), 0);
    QCOMPARE(emptied.count(), 1);
    undo();
    redo();
    QCOMPARE(scene->markCount(), way == 2 ? 1 : 0);
    // It goes on as from the start.
    list->add(line(25));
    undo();
    redo();
    QVERIFY(figures().last() == line(25));
    QCOMPARE(emptied.count(), 1);
}

void TestFigureList::clearedWithoutAFigure_data() {
    QTest::addColumn<bool>("isLoaded");
    QTest::newRow("cleared") << false;
    QTest::newRow("loaded") << true;
}

/// Nothing that was there before comes back into what is there then.
void TestFigureList::clearedWithoutAFigure() {
    QFETCH(bool, isLoaded);
    list->remove(list->add(line(5)));
    QVERIFY(scene->saveMarks(0).isEmpty());
    QCOMPARE(list->undoStack()->count(), 2);
    if (isLoaded)
        scene->loadMarks(0);
    else
        scene->clearMarks();
    QCOMPARE(list->undoStack()->count(), 0);
    undo();
    QCOMPARE(scene->markCount(), 0);
}

void TestFigureList::crossHairsMayGo() {
    auto* first = scene->insertMark(std::make_unique<CoordinatesMark>(scene.get()));
    auto* second = scene->insertMark(std::make_unique<CoordinatesMark>(scene.get()));
    FigureMark* mark = list->add(line(5));
    list->remove(mark);
    scene->removeMark(first);
    scene->removeMark(second);
    QCOMPARE(list->undoStack()->count(), 2);
    undo();
    QCOMPARE(scene->markCount(), 1);
    QVERIFY(at(0)->figure() == line(5));
}

void TestFigureList::figuresOfTheFile() {
    list->add(line(5));
    list->add(line(15));
    QVERIFY(scene->saveMarks(0).isEmpty());
    scene->loadMarks(0);
    const QVector<Figure> all = figures();
    QCOMPARE(all.size(), 2);
    list->nudge(at(1), {3, 4});
    list->remove(at(0));
    list->remove(at(0));
    QCOMPARE(scene->markCount(), 0);
    for (int i = 0; i < 3; ++i)
        undo();
    QVERIFY(figures() == all);
}

void TestFigureList::whatIsNotInTheListIsLeft() {
    const auto stranger = makeFigure(line(5), scene.get());
    list->remove(stranger.get());
    QCOMPARE(list->undoStack()->count(), 0);
}

void TestFigureList::withoutAScene() {
    list->add(line(5));
    scene.reset();
    QCOMPARE(list->undoStack()->count(), 0);
    QVERIFY(!list->add(line(6)));
    QCOMPARE(list->undoStack()->count(), 0);
}

void TestFigureList::textsOfCommands() {
    FigureMark* mark = list->add(line(5));
    QCOMPARE(list->undoStack()->undoText(), QStringLiteral("Draw"));
    list->nudge(mark, {1, 1});
    QCOMPARE(list->undoStack()->undoText(), QStringLiteral("Change"));
    list->remove(mark);
    QCOMPARE(list->undoStack()->undoText(), QStringLiteral("Delete"));
}

QTEST_MAIN(TestFigureList)
#include "tst_figurelist.moc"
