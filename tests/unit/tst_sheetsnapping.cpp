// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <cmath>
#include <map>

#include "measure/aim.h"
#include "support/simulatedsheet.h"

namespace {

// View px that the pointer is beside the crossing.
constexpr double kNear = 4.0;
constexpr double kFar = 8.0;

// Of a point that was found, px of the picture.
constexpr double kMostOff = 0.3;
// Halves by the nearest pixel of two frames: where a seam leaves out a row of them, its edges are not known
// better.
constexpr double kMostOffAtSeam = 0.5;

// Each row looks at every fifth crossing, not at those of the row before, and at all of the calibration's
// own marks.
constexpr int kEvery = 5;

struct Found {
    int all = 0;
    int crossing = 0;  ///< the one that was meant
    int other = 0;     ///< another corner
    int edge = 0;
    int none = 0;
    double squares = 0.0;
    double most = 0.0;

    void add(const Aim& aim, const SheetCrossing& meant) {
        ++all;
        const double off = meant.distanceTo(aim.point);
        edge += aim.kind == SnapKind::Edge ? 1 : 0;
        none += aim.kind == SnapKind::None ? 1 : 0;
        if (aim.kind != SnapKind::Corner)
            return;
        // Nearer than any other corner of the sheet: not one that was meant to be somewhere else.
        constexpr double kThisOne = 4.0;  // px
        if (off > kThisOne) {
            ++other;
            return;
        }
        ++crossing;
        squares += off * off;
        most = std::max(most, off);
    }
    QString text() const {
        return QStringLiteral(
                   "%1 aims: %2 % crossing, %3 % another corner, %4 % edge, %5 % none; %6 px rms, %7 max")
            .arg(all)
            .arg(100.0 * crossing / all, 0, 'f', 1)
            .arg(100.0 * other / all, 0, 'f', 1)
            .arg(100.0 * edge / all, 0, 'f', 1)
            .arg(100.0 * none / all, 0, 'f', 1)
            .arg(std::sqrt(squares / std::max(1, crossing)), 0, 'f', 3)
            .arg(most, 0, 'f', 2);
    }
};

}  // namespace

/// Points that snap on what four simulated cameras show together, where a person means a crossing.
class TestSheetSnapping : public QObject {
    Q_OBJECT

private slots:
    void crossings_data();
    void crossings();
    void besideAPlate_data();
    void besideAPlate();

private:
    const SimulatedSheet& sheetOf(int width, bool isSmooth);

    std::map<std::pair<int, bool>, SimulatedSheet> sheets;
};

const SimulatedSheet& TestSheetSnapping::sheetOf(int width, bool isSmooth) {
    const auto key = std::make_pair(width, isSmooth);
    if (sheets.count(key) == 0)
        sheets[key] = simulatedSheet(QSize(width, width * 9 / 16), isSmooth);
    return sheets[key];
}

void TestSheetSnapping::crossings_data() {
    QTest::addColumn<int>("width");
    QTest::addColumn<bool>("isSmooth");
    QTest::addColumn<double>("scale");
    QTest::addColumn<int>("first");
    int row = 0;
    for (const int width : {1280, 2560}) {
        for (const bool isSmooth : {false, true}) {
            for (const double scale : {0.37, 0.59, 1.0, 2.0, 4.0})
                QTest::addRow("%d px, %s, %g", width, isSmooth ? "smooth" : "nearest", scale)
                    << width << isSmooth << scale << (row + row / 5) % kEvery;
            ++row;
        }
    }
}

void TestSheetSnapping::crossings() {
    QFETCH(int, width);
    QFETCH(bool, isSmooth);
    QFETCH(double, scale);
    QFETCH(int, first);
    const SimulatedSheet& sheet = sheetOf(width, isSmooth);
    const QTransform view = QTransform::fromScale(scale, scale);
    Found near;
    Found far;
    Found ringed;
    Found atSeams;
    for (int i = 0; i < sheet.crossings.size(); ++i) {
        const SheetCrossing& crossing = sheet.crossings[i];
        if (i % kEvery != first && !crossing.isRinged)
            continue;
        // The pointer goes round from one crossing to the next.
        for (int k = 0; k < 6; ++k) {
            const double angle = (i % 4) * 0.4 + (k % 3) * 2 * M_PI / 3;
            const QPointF beside = (k < 3 ? kNear : kFar) * QPointF(std::cos(angle), std::sin(angle));
            const Aim aim =
                aimAt(view.map(crossing.place()) + beside, view, true, sheet.tiles, AimFor::Figure);
            (k < 3 ? near : far).add(aim, crossing);
            if (crossing.isAtSeam)
                atSeams.add(aim, crossing);
            else if (crossing.isRinged)
                ringed.add(aim, crossing);
            if (aim.kind == SnapKind::Corner && !crossing.isAtSeam) {
                const double off = crossing.distanceTo(aim.point);
                QVERIFY2(off <= kMostOff || off > 4.0, qPrintable(QString::number(off)));
            }
        }
    }
    QVERIFY(sheet.crossings.size() > 190 && ringed.all > 0 && atSeams.all > 0);
    qInfo("%g px beside: %s", kNear, qPrintable(near.text()));
    qInfo("%g px beside: %s", kFar, qPrintable(far.text()));
    qInfo("ringed marks: %s", qPrintable(ringed.text()));
    qInfo("at seams: %s", qPrintable(atSeams.text()));
    QCOMPARE(near.edge + near.none + far.edge + far.none, 0);
    // At the smallest zooms 4 px lead to the ends of the marks themselves.
    QVERIFY(near.crossing >= near.all * 0.98);
    // Of what lies further than half the reach away, other corners may be meant.
    QVERIFY(far.crossing >= far.all * 6 / 10);
    QVERIFY(ringed.most <= kMostOff);
    QVERIFY(atSeams.most <= (isSmooth ? kMostOff : kMostOffAtSeam));
}

void TestSheetSnapping::besideAPlate_data() {
    QTest::addColumn<bool>("isSmooth");
    QTest::newRow("nearest") << false;
    QTest::newRow("smooth") << true;
}

/// A plain crossing above the grey wedge, whose plate begins 7 px below: that is an edge, but nobody means
/// it.
void TestSheetSnapping::besideAPlate() {
    QFETCH(bool, isSmooth);
    const SimulatedSheet& sheet = sheetOf(1280, isSmooth);
    const auto crossing = std::find_if(sheet.crossings.begin(), sheet.crossings.end(),
                                       [](const SheetCrossing& c) { return c.column == 15 && c.row == 6; });
    QVERIFY(crossing != sheet.crossings.end());
    for (const double scale : {0.37, 0.59, 1.0, 2.0, 4.0, 8.0}) {
        const QTransform view = QTransform::fromScale(scale, scale);
        for (const QPointF beside : {QPointF(3, -2), QPointF(0, 0), QPointF(-4, 3), QPointF(2, 5)}) {
            const Aim aim =
                aimAt(view.map(crossing->place()) + beside, view, true, sheet.tiles, AimFor::Figure);
            QCOMPARE(aim.kind, SnapKind::Corner);
            const double off = crossing->distanceTo(aim.point);
            QVERIFY2(off < 0.2, qPrintable(QStringLiteral("%1: %2").arg(scale).arg(off)));
        }
    }
}

QTEST_GUILESS_MAIN(TestSheetSnapping)
#include "tst_sheetsnapping.moc"
