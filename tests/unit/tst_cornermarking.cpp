// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <array>
#include <limits>
#include <map>

#include "calibration/cornermarking.h"
#include "calibration/cropgeometry.h"

namespace {

/// Addresses that are only compared.
class Marks {
public:
    Mark* operator[](int i) { return reinterpret_cast<Mark*>(&bytes[size_t(i)]); }

private:
    std::array<char, 64> bytes{};
};

std::optional<QPointF> nowhere(const Mark*) {
    return {};
}

QVector<QPointF> pointsOf(const QList<CornerPoint>& list) {
    QVector<QPointF> points;
    for (const CornerPoint& corner : list)
        points.append({corner.x, corner.y});
    return points;
}

QStringList logged;

void keepDebugLines(QtMsgType type, const QMessageLogContext&, const QString& text) {
    if (type == QtDebugMsg)
        logged.append(text);
}

const QSize kTile(640, 480);

}  // namespace

/// The corners of all tiles, from clicks to ordered lists.
class TestCornerMarking : public QObject {
    Q_OBJECT

private slots:
    void clicksGoToTheirTiles_data();
    void clicksGoToTheirTiles();
    void fifthPushesTheOldestOut();
    void restoredCornersArePushedOutAsNull();
    void outsideOfEverything();
    void refreshedFromTheCrossHairs();
    void refreshingIsLogged();
    void forgottenMarksAreNotAsked();
    void tooFewCornersAreNamed_data();
    void tooFewCornersAreNamed();
    void tilesThatAreNotThere();
    void noNumber();
    void clearedAndTaken();
};

void TestCornerMarking::clicksGoToTheirTiles_data() {
    QTest::addColumn<int>("layoutMode");
    QTest::addColumn<QPointF>("place");
    QTest::addColumn<int>("tile");
    QTest::addColumn<QPointF>("point");
    QTest::newRow("row") << 1 << QPointF(1300, 20) << 2 << QPointF(20, 20);
    QTest::newRow("grid") << 0 << QPointF(1300, 500) << 3 << QPointF(660, 20);
}

void TestCornerMarking::clicksGoToTheirTiles() {
    QFETCH(int, layoutMode);
    QFETCH(QPointF, place);
    QFETCH(int, tile);
    QFETCH(QPointF, point);
    CornerMarking marking;
    marking.setTiles(kTile, layoutMode, 4);
    Marks marks;
    const auto added = marking.add(place, marks[1]);
    QVERIFY(added);
    QCOMPARE(added->tile, tile);
    QCOMPARE(added->point, point);
    QCOMPARE(added->total, 1);
    QVERIFY(added->pushedOut.isEmpty());
    QCOMPARE(pointsOf(marking.corners()[size_t(tile)]), QVector<QPointF>{point});
    QCOMPARE(marking.corners()[size_t(tile)][0].mark, marks[1]);
}

void TestCornerMarking::fifthPushesTheOldestOut() {
    CornerMarking marking;
    marking.setTiles(kTile, 1, 1);
    Marks marks;
    for (int i = 0; i < 4; ++i) {
        const auto added = marking.add(QPointF(i, i), marks[i]);
        QCOMPARE(added->total, i + 1);
        QVERIFY(added->pushedOut.isEmpty());
    }
    const auto added = marking.add(QPointF(50, 50), marks[4]);
    QCOMPARE(added->total, 4);
    QCOMPARE(added->pushedOut, QVector<Mark*>{marks[0]});
    QCOMPARE(marking.corners()[0].first().mark, marks[1]);
    QCOMPARE(marking.corners()[0].last().mark, marks[4]);
    // Other tiles have their own four.
    QVERIFY(marking.add(QPointF(700, 5), marks[5])->pushedOut.isEmpty());
}

void TestCornerMarking::restoredCornersArePushedOutAsNull() {
    CornerMarking marking;
    marking.setTiles(kTile, 1, 2);
    marking.restore(1, {{1, 2}, {3, 4}, {5, 6}, {7, 8}});
    Marks marks;
    const auto added = marking.add(QPointF(645, 9), marks[0]);
    QCOMPARE(added->pushedOut, QVector<Mark*>{nullptr});
    QCOMPARE(added->total, 4);
    QCOMPARE(pointsOf(marking.corners()[1]), (QVector<QPointF>{{3, 4}, {5, 6}, {7, 8}, {5, 9}}));
}

void TestCornerMarking::outsideOfEverything() {
    CornerMarking marking;
    marking.setTiles(kTile, 1, 4);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const QPointF point : {QPointF(2560, 10), QPointF(nan, 10), QPointF(10, nan)})
        QVERIFY(!marking.add(point, nullptr));
    for (const auto& list : marking.corners())
        QVERIFY(list.isEmpty());
}

void TestCornerMarking::refreshedFromTheCrossHairs() {
    for (const int layoutMode : {0, 1}) {
        CornerMarking marking;
        marking.setTiles(kTile, layoutMode, 2);
        Marks marks;
        std::map<const Mark*, QPointF> places;
        const QPointF origins[] = {{0, 0}, {640, 0}};
        const QVector<QPointF> wanted{{10, 20}, {600, 25}, {8, 400}, {620, 390}};
        for (int tile = 0; tile < 2; ++tile) {
            for (const int corner : {3, 0, 2, 1}) {
                Mark* mark = marks[tile * 4 + corner];
                QVERIFY(marking.add(origins[tile] + QPointF(300, 200 + corner), mark));
                places[mark] = origins[tile] + wanted[corner];  // dragged there
            }
        }
        places[marks[4]] = QPointF(100, -7);  // out of its tile, whose corner it stays
        const auto result =
            marking.refreshed([&](const Mark* mark) -> std::optional<QPointF> { return places[mark]; });
        QCOMPARE(result.problem, QString());
        QCOMPARE(pointsOf(result.corners[0]), wanted);
        for (int corner = 0; corner < 4; ++corner)
            QCOMPARE(result.corners[0][corner].mark, marks[corner]);
        QCOMPARE(pointsOf(result.corners[1])[0], QPointF(100 - 640, -7));
        // What is kept is untouched, in the order of marking.
        QCOMPARE(marking.corners()[0].first().mark, marks[3]);
        QCOMPARE(marking.corners()[0].first().y, 203.0);
    }
}

void TestCornerMarking::refreshingIsLogged() {
    CornerMarking marking;
    marking.setTiles(kTile, 1, 2);
    Marks marks;
    QVERIFY(marking.add(QPointF(650, 20), marks[0]));
    marking.restore(1, {{1, 2}});
    logged.clear();
    const QtMessageHandler before = qInstallMessageHandler(keepDebugLines);
    marking.refreshed([](const Mark*) { return QPointF(660.5, 30); });
    qInstallMessageHandler(before);
    QCOMPARE(logged.size(), 2);
    QVERIFY2(QRegularExpression(QStringLiteral("^before 0x[0-9a-f]+ QPointF\\(660\\.5,30\\) 10 20$"))
                 .match(logged[0])
                 .hasMatch(),
             qPrintable(logged[0]));
    QCOMPARE(logged[1], QStringLiteral("after 20.5 30"));
}

void TestCornerMarking::forgottenMarksAreNotAsked() {
    CornerMarking marking;
    marking.setTiles(kTile, 1, 1);
    Marks marks;
    for (const QPointF point : {QPointF(1, 1), QPointF(50, 2), QPointF(3, 60), QPointF(55, 66)})
        QVERIFY(marking.add(point, marks[int(point.x())]));
    marking.forget(marks[50]);
    QVector<const Mark*> asked;
    const auto result = marking.refreshed([&](const Mark* mark) -> std::optional<QPointF> {
        asked.append(mark);
        return mark == marks[3] ? std::optional<QPointF>(QPointF(4, 61)) : std::nullopt;
    });
    QCOMPARE(asked, (QVector<const Mark*>{marks[1], marks[3], marks[55]}));
    QCOMPARE(result.problem, QString());
    QCOMPARE(pointsOf(result.corners[0]), (QVector<QPointF>{{1, 1}, {50, 2}, {4, 61}, {55, 66}}));
    QCOMPARE(result.corners[0][TopRight].mark, nullptr);
}

void TestCornerMarking::tooFewCornersAreNamed_data() {
    QTest::addColumn<int>("corners");
    QTest::addColumn<QString>("problem");
    QTest::newRow("none") << 0 << QStringLiteral("Camera 2 has no corners");
    QTest::newRow("one") << 1 << QStringLiteral("Camera 2 has only 1 corner");
    QTest::newRow("three") << 3 << QStringLiteral("Camera 2 has only 3 corners");
    QTest::newRow("four") << 4 << QString();
}

void TestCornerMarking::tooFewCornersAreNamed() {
    QFETCH(int, corners);
    CornerMarking marking;
    marking.setTiles(kTile, 1, 3);
    const QVector<QPointF> four{{1, 1}, {50, 2}, {3, 60}, {55, 66}};
    marking.restore(0, four);
    marking.restore(1, four);
    marking.restore(2, four.mid(0, corners));
    QTEST(marking.refreshed(nowhere).problem, "problem");
}

void TestCornerMarking::tilesThatAreNotThere() {
    CornerMarking marking;
    marking.setTiles(kTile, 1, 1);
    marking.restore(0, {{1, 1}, {50, 2}, {3, 60}, {55, 66}});
    Marks marks;
    QVERIFY(marking.add(QPointF(700, 5), marks[0]));
    const auto result = marking.refreshed([](const Mark*) { return QPointF(5, 5); });
    QCOMPARE(result.problem, QString());
    QCOMPARE(pointsOf(result.corners[1]), (QVector<QPointF>{{60, 5}}));
    marking.setTiles(kTile, 1, 9);
    QCOMPARE(marking.refreshed(nowhere).problem, QStringLiteral("Camera 1 has only 1 corner"));
}

void TestCornerMarking::noNumber() {
    CornerMarking marking;
    marking.setTiles(kTile, 1, 1);
    Marks marks;
    marking.restore(0, {{1, 1}, {50, 2}, {3, 60}});
    QVERIFY(marking.add(QPointF(55, 66), marks[0]));
    const double nan = std::numeric_limits<double>::quiet_NaN();
    QCOMPARE(marking.refreshed([&](const Mark*) { return QPointF(nan, 5); }).problem,
             QStringLiteral("Corners of camera 0 are not finite"));
}

void TestCornerMarking::clearedAndTaken() {
    CornerMarking marking;
    marking.setTiles(kTile, 1, 1);
    Marks marks;
    marking.restore(0, {{1, 1}, {50, 2}, {3, 60}});
    QVERIFY(marking.add(QPointF(655, 66), marks[0]));
    const CornerLists kept = marking.corners();
    marking.clear();
    for (const auto& list : marking.corners())
        QVERIFY(list.isEmpty());
    marking.take(kept);
    QCOMPARE(pointsOf(marking.corners()[0]), pointsOf(kept[0]));
    QCOMPARE(marking.corners()[1][0].mark, marks[0]);
}

QTEST_APPLESS_MAIN(TestCornerMarking)
#include "tst_cornermarking.moc"
