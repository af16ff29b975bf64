// SPDX-License-Identifier: Apache-2.0
#include <QImage>
#include <QtTest>
#include <cmath>
#include <limits>
#include <random>

#include "calibration/correction.h"
#include "calibration/correctionmaps.h"
#include "measure/correctedsnapping.h"

namespace {

const QSize kFrame(640, 480);
constexpr double kCell = 32.3;
const QPointF kZero(37.4, 29.8);

double distance(QPointF a, QPointF b) {
    return std::hypot(a.x() - b.x(), a.y() - b.y());
}

/// A board a little turned, each pixel the mean over its square, with sensor noise.
QImage board(double noise, double degrees = 3.0) {
    constexpr int kFine = 6;
    const double a = degrees * M_PI / 180;
    std::mt19937 random{7};
    std::normal_distribution<double> deviation(0.0, noise);
    QImage picture(kFrame, QImage::Format_Grayscale8);
    for (int y = 0; y < picture.height(); ++y) {
        for (int x = 0; x < picture.width(); ++x) {
            double sum = 0.0;
            for (int k = 0; k < kFine * kFine; ++k) {
                const double dx = x - 0.5 + (k % kFine + 0.5) / kFine - kZero.x();
                const double dy = y - 0.5 + (k / kFine + 0.5) / kFine - kZero.y();
                const auto parity = int(std::floor((std::cos(a) * dx + std::sin(a) * dy) / kCell) +
                                        std::floor((std::cos(a) * dy - std::sin(a) * dx) / kCell));
                sum += parity % 2 == 0 ? 40 : 200;
            }
            picture.scanLine(y)[x] = uchar(std::lround(sum / (kFine * kFine) + deviation(random)));
        }
    }
    return picture;
}

/// Of the board, frame px.
QPointF crossing(int column, int row, double degrees = 3.0) {
    const double a = degrees * M_PI / 180;
    return kZero + kCell * QPointF(std::cos(a) * column - std::sin(a) * row,
                                   std::sin(a) * column + std::cos(a) * row);
}

/// A correction of one tile that is cut at these corners.
Correction correctionBy(const cv::Matx33d& transform, const QVector<QPointF>& corners = {}) {
    Correction correction;
    correction.transforms[0] = cv::Mat(transform).clone();
    if (!buildCorrectionMaps(correction.transforms[0], kFrame, correction.mapX[0], correction.mapY[0]))
        qFatal("no maps");
    correction.dstCorners[0] = corners;
    return correction;
}

cv::Matx33d turned(double degrees, double scale, double tiltX, double tiltY) {
    const double a = degrees * M_PI / 180;
    const cv::Matx33d toMiddle(1, 0, -kFrame.width() / 2.0, 0, 1, -kFrame.height() / 2.0, 0, 0, 1);
    const cv::Matx33d turn(scale * std::cos(a), -scale * std::sin(a), 0, scale * std::sin(a),
                           scale * std::cos(a), 0, tiltX, tiltY, 1);
    return toMiddle.inv() * turn * toMiddle;
}

struct Errors {
    double squares = 0.0;
    double most = 0.0;
    int count = 0;
    void add(double error) {
        squares += error * error;
        most = std::max(most, error);
        ++count;
    }
    double rms() const { return std::sqrt(squares / count); }
};

}  // namespace

Q_DECLARE_METATYPE(cv::Matx33d)

/// Points in pictures that are corrected by the nearest pixel, found where the frame has them.
class TestCorrectedSnapping : public QObject {
    Q_OBJECT

private slots:
    void betterThanInThePicture_data();
    void betterThanInThePicture();
    void edges();
    void reach();
    void nothingThere();
    void onlyNearest();
    void anyTransform();
};

void TestCorrectedSnapping::betterThanInThePicture_data() {
    QTest::addColumn<cv::Matx33d>("transform");
    QTest::addColumn<QVector<QPointF>>("corners");
    QTest::addColumn<double>("share");
    QTest::addColumn<double>("most");
    const QVector<QPointF> none;
    QTest::newRow("turned") << turned(5, 1.0, 0, 0) << none << 0.25 << 0.1;
    QTest::newRow("tilted") << turned(0.4, 1.0, 1.5e-4, -1e-4) << none << 0.2 << 0.3;
    QTest::newRow("both") << turned(-3, 1.02, -2e-4, 1.2e-4) << none << 0.2 << 0.3;
    // Of every fifth row and column of the frame nothing is seen: there an edge is somewhere in a px.
    QTest::newRow("smaller") << turned(-3, 0.8, -1e-4, 0.6e-4) << none << 1.0 << 0.55;
    QTest::newRow("larger") << turned(2, 1.4, -1e-4, 0.6e-4) << none << 0.2 << 0.1;
    QTest::newRow("cut") << turned(-3, 1.02, -2e-4, 1.2e-4)
                         << QVector<QPointF>{{60.6, 50.2}, {560.4, 50.2}, {60.6, 430.7}, {560.4, 430.7}}
                         << 0.2 << 0.3;
}

void TestCorrectedSnapping::betterThanInThePicture() {
    QFETCH(cv::Matx33d, transform);
    QFETCH(QVector<QPointF>, corners);
    QFETCH(double, share);
    QFETCH(double, most);
    const Correction correction = correctionBy(transform, corners);
    const QImage picture = correctedPicture(board(1.5), correction, 0, 1, 1);
    const auto fromFrame = nearestFromFrame(correction, 0, 1, 1, kFrame, picture.size());
    QVERIFY(fromFrame);
    QVERIFY(!nearestFromFrame(correction, 0, 1, 1, kFrame, picture.size() + QSize(1, 0)));
    std::mt19937 random{11};
    std::uniform_real_distribution<double> beside(-3.0, 3.0);
    Errors plain;
    Errors exact;
    for (int row = 0; row < 13; ++row) {
        for (int column = 0; column < 18; ++column) {
            const QPointF inFrame = crossing(column, row);
            const QPointF place = fromFrame->map(inFrame);
            if (!QRectF(QPointF(), picture.size()).adjusted(20, 20, -20, -20).contains(place) ||
                !QRectF(QPointF(), kFrame).adjusted(20, 20, -20, -20).contains(inFrame))
                continue;
            const double x = beside(random);
            const QPointF click = place + QPointF(x, beside(random));
            const Snap shown = snapIn(picture, click, 12);
            const Snap snap = snapInCorrected(picture, *fromFrame, click, 12);
            QCOMPARE(snap.kind, SnapKind::Corner);
            exact.add(distance(snap.point, place));
            if (shown.kind == SnapKind::Corner)
                plain.add(distance(shown.point, place));
        }
    }
    QVERIFY(exact.count > 60);
    const QString result = QStringLiteral("%1 rms %2 max instead of %3 rms %4 max px: %5 of it")
                               .arg(exact.rms(), 0, 'f', 3)
                               .arg(exact.most, 0, 'f', 3)
                               .arg(plain.rms(), 0, 'f', 3)
                               .arg(plain.most, 0, 'f', 3)
                               .arg(exact.rms() / plain.rms(), 0, 'f', 2);
    qInfo("%s", qPrintable(result));
    QVERIFY2(exact.rms() < share * plain.rms() && exact.most < most, qPrintable(result));
}

/// Of a long edge, at its middle between two crossings.
void TestCorrectedSnapping::edges() {
    const Correction correction = correctionBy(turned(-3, 1.02, -2e-4, 1.2e-4));
    const QImage picture = correctedPicture(board(1.5), correction, 0, 1, 1);
    const auto fromFrame = nearestFromFrame(correction, 0, 1, 1, kFrame, picture.size());
    QVERIFY(fromFrame);
    Errors plain;
    Errors exact;
    for (int column = 3; column < 14; ++column) {
        const QPointF a = fromFrame->map(crossing(column, 5));
        const QPointF b = fromFrame->map(crossing(column + 1, 5));
        const QPointF along = (b - a) / distance(a, b);
        const QPointF normal(-along.y(), along.x());
        for (const double beside : {-4.0, 2.0}) {
            const QPointF click = (a + b) / 2 + beside * normal;
            const auto off = [&](const Snap& snap) {
                return std::abs(QPointF::dotProduct(snap.point - a, normal));
            };
            const Snap snap = snapInCorrected(picture, *fromFrame, click, 7);
            QCOMPARE(snap.kind, SnapKind::Edge);
            exact.add(off(snap));
            plain.add(off(snapIn(picture, click, 7)));
        }
    }
    QVERIFY2(
        exact.rms() < 0.6 * plain.rms() && exact.most < 0.15,
        qPrintable(
            QStringLiteral("%1 rms %2 max instead of %3").arg(exact.rms()).arg(exact.most).arg(plain.rms())));
}

/// Px of the picture, in every direction, however it is stretched.
void TestCorrectedSnapping::reach() {
    cv::Matx33d wide = turned(3, 1.0, 0, 0);
    for (int column = 0; column < 3; ++column)
        wide(0, column) *= 1.6;
    const Correction correction = correctionBy(wide);
    const QImage picture = correctedPicture(board(0.5), correction, 0, 1, 1);
    const auto fromFrame = nearestFromFrame(correction, 0, 1, 1, kFrame, picture.size());
    QVERIFY(fromFrame);
    const QPointF place = fromFrame->map(crossing(5, 5));
    QVERIFY(picture.rect().adjusted(30, 30, -30, -30).contains(place.toPoint()));
    for (const QPointF way : {QPointF(1, 0), QPointF(-1, 0), QPointF(0, 1), QPointF(0, -1)}) {
        QCOMPARE(snapInCorrected(picture, *fromFrame, place + 9.7 * way, 10).kind, SnapKind::Corner);
        const Snap beyond = snapInCorrected(picture, *fromFrame, place + 10.3 * way, 10);
        QVERIFY(beyond.kind != SnapKind::Corner);
        QVERIFY(distance(beyond.point, place + 10.3 * way) <= 10.0);
    }
}

void TestCorrectedSnapping::nothingThere() {
    QImage grey(200, 150, QImage::Format_Grayscale8);
    grey.fill(120);
    const QTransform turn = QTransform().rotate(4);
    for (const QPointF where : {QPointF(50, 60), QPointF(-3, 2), QPointF(199, 149), QPointF(4000, 10)}) {
        const Snap snap = snapInCorrected(grey, turn, where, 12);
        QCOMPARE(snap.kind, SnapKind::None);
        QCOMPARE(snap.point, where);
    }
    QCOMPARE(snapInCorrected({}, turn, {5, 5}, 12).kind, SnapKind::None);
    QCOMPARE(snapInCorrected(grey, turn, {50, 60}, 0).kind, SnapKind::None);
}

void TestCorrectedSnapping::onlyNearest() {
    Correction correction = correctionBy(turned(3, 1.0, 0, 0));
    QVERIFY(nearestFromFrame(correction, 0, 1, 1, kFrame, kFrame));
    QVERIFY(!nearestFromFrame(correction, 1, 1, 1, kFrame, kFrame));
    correction.isSmooth = true;
    QVERIFY(!nearestFromFrame(correction, 0, 1, 1, kFrame, kFrame));
    QVERIFY(!nearestFromFrame(Correction(), 0, 1, 1, kFrame, kFrame));
}

/// Whatever it is, the point that comes back is a number and in reach.
void TestCorrectedSnapping::anyTransform() {
    const QImage picture = board(1.5);
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double huge = 1e300;
    QVector<QTransform> transforms{
        QTransform(0, 0, 0, 0, 0, 0, 0, 0, 0),          QTransform(1, 2, 0, 2, 4, 0, 0, 0, 1),
        QTransform(nan, 0, 0, 0, 1, 0, 0, 0, 1),        QTransform(1, 0, 0, 0, 1, 0, huge, -huge, 1),
        QTransform(huge, 0, 0, 0, huge, 0, 0, 0, huge), QTransform(1e-300, 0, 0, 0, 1e-300, 0, 0, 0, 1e-300),
        QTransform(1, 0, -1.0 / 300, 0, 1, 0, 0, 0, 1), QTransform(1, 0, 0.05, 0, 1, -0.05, 0, 0, 1),
        QTransform(100, 0, 0, 0, 100, 0, 0, 0, 1),      QTransform(0.01, 0, 0, 0, 0.01, 0, 0, 0, 1),
        QTransform(-1, 0, 0, 0, 1, 0, 640, 0, 1),       QTransform(7.9, 0, 0, 0, 0.13, 0, 0, 0, 1),
    };
    std::mt19937 random{3};
    std::uniform_real_distribution<double> any(-2.0, 2.0);
    for (int i = 0; i < 100; ++i)
        transforms.append(QTransform(any(random), any(random), any(random) / 100, any(random), any(random),
                                     any(random) / 100, 300 * any(random), 300 * any(random), any(random)));
    for (const QTransform& transform : transforms) {
        for (const QPointF where : {QPointF(300, 200), QPointF(0, 0), QPointF(639, 479), QPointF(-5, 300)}) {
            for (const double radius : {5.0, 30.0}) {
                const Snap snap = snapInCorrected(picture, transform, where, radius);
                QVERIFY(std::isfinite(snap.point.x()) && std::isfinite(snap.point.y()));
                QVERIFY(distance(snap.point, where) <= radius + 1e-9);
            }
        }
    }
    for (const QPointF where : {QPointF(nan, 3), QPointF(1e308, 3), QPointF(3, -HUGE_VAL)})
        QCOMPARE(snapInCorrected(picture, QTransform().rotate(3), where, 10).kind, SnapKind::None);
}

QTEST_GUILESS_MAIN(TestCorrectedSnapping)
#include "tst_correctedsnapping.moc"
