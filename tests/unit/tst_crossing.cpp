// SPDX-License-Identifier: Apache-2.0
#include <QtTest>
#include <cmath>
#include <functional>
#include <opencv2/imgproc.hpp>
#include <random>

#include "measure/crossing.h"

namespace {

using Grey = std::function<double(double x, double y)>;

constexpr int kSide = 60;       // px, of the pictures
constexpr double kFaint = 1.0;  // mean square slope, far below that of any print here

/// A picture of what `grey` says, each pixel the mean over its square, smoothed as it is for snapping, and
/// its slopes.
Slopes pictureOf(const Grey& grey, double noise = 0.0) {
    constexpr int kFine = 8;
    std::mt19937 random{11};
    std::normal_distribution<double> deviation(0.0, noise > 0.0 ? noise : 1.0);
    Slopes picture;
    picture.grey.create(kSide, kSide, CV_32FC1);
    for (int y = 0; y < kSide; ++y) {
        for (int x = 0; x < kSide; ++x) {
            double sum = 0.0;
            for (int j = 0; j < kFine; ++j) {
                for (int i = 0; i < kFine; ++i)
                    sum += grey(x - 0.5 + (i + 0.5) / kFine, y - 0.5 + (j + 0.5) / kFine);
            }
            picture.grey.at<float>(y, x) =
                float(sum / (kFine * kFine) + (noise > 0.0 ? deviation(random) : 0.0));
        }
    }
    cv::GaussianBlur(picture.grey, picture.grey, {}, 1.0, 1.0);
    cv::Sobel(picture.grey, picture.dx, CV_32F, 1, 0, 3, 1.0 / 8);
    cv::Sobel(picture.grey, picture.dy, CV_32F, 0, 1, 3, 1.0 / 8);
    return picture;
}

/// What is `figure` around its own zero, there and turned.
Grey placed(const Grey& figure, cv::Point2d zero, double degrees) {
    const double a = degrees * CV_PI / 180;
    return [=](double x, double y) {
        const double dx = x - zero.x;
        const double dy = y - zero.y;
        return figure(std::cos(a) * dx + std::sin(a) * dy, -std::sin(a) * dx + std::cos(a) * dy);
    };
}

double board(double x, double y) {
    return (x < 0) == (y < 0) ? 40 : 215;
}

Grey lines(double width) {
    return
        [=](double x, double y) { return std::abs(x) < width / 2 || std::abs(y) < width / 2 ? 40.0 : 215.0; };
}

/// Two opposite quadrants of a disc.
double quadrants(double x, double y) {
    return std::hypot(x, y) < 12 && (x < 0) == (y < 0) ? 40 : 215;
}

double dot(double x, double y) {
    return std::hypot(x, y) < 4 ? 40 : 215;
}

double corner(double x, double y) {
    return x > 0 && y > 0 ? 40 : 215;
}

double edge(double x, double /*y*/) {
    return x > 0 ? 40 : 215;
}

double line(double x, double /*y*/) {
    return std::abs(x) < 1.5 ? 40 : 215;
}

/// Three arms, as far from each other.
double star(double x, double y) {
    const double angle = std::fmod(std::atan2(y, x) + 2 * CV_PI, 2 * CV_PI / 3);
    return std::hypot(x, y) * std::abs(std::sin(angle - CV_PI / 3)) < 1.5 && std::cos(angle - CV_PI / 3) > 0
               ? 40
               : 215;
}

/// A line that ends on another.
double junction(double x, double y) {
    return std::abs(y) < 1.5 || (std::abs(x) < 1.5 && y > 0) ? 40 : 215;
}

double nothing(double /*x*/, double /*y*/) {
    return 130;
}

}  // namespace

Q_DECLARE_METATYPE(Grey)

/// The middle of crossings in small pictures of which it is known.
class TestCrossing : public QObject {
    Q_OBJECT

private slots:
    void middleIsFound_data();
    void middleIsFound();
    void unevenLightMovesItLittle();
    void otherPrintBesideIt();
    void noneIsFound_data();
    void noneIsFound();
    void noneWhereItIsNoMoreThanNoise();
    void noneNearTheEndOfThePicture_data();
    void noneNearTheEndOfThePicture();
    void onlyNearTheStart();
};

void TestCrossing::middleIsFound_data() {
    QTest::addColumn<Grey>("figure");
    QTest::addColumn<double>("degrees");
    const QVector<QPair<const char*, Grey>> figures{{"board", board},
                                                    {"quadrants", quadrants},
                                                    {"lines of 1.5 px", lines(1.5)},
                                                    {"lines of 3 px", lines(3)}};
    for (const auto& figure : figures) {
        for (const double degrees : {5.0, 17.0, 45.0, 80.0})
            QTest::addRow("%s, %g degrees", figure.first, degrees) << figure.second << degrees;
    }
}

/// To a fraction of a px, from any start that is some px beside it.
void TestCrossing::middleIsFound() {
    QFETCH(Grey, figure);
    QFETCH(double, degrees);
    for (const cv::Point2d middle : {cv::Point2d(30, 30), cv::Point2d(29.6, 30.4), cv::Point2d(30.3, 29.8)}) {
        const Slopes picture = pictureOf(placed(figure, middle, degrees));
        for (const cv::Point start :
             {cv::Point(30, 30), cv::Point(27, 31), cv::Point(32, 27), cv::Point(33, 33)}) {
            const auto found = crossingNear(picture, start, kFaint);
            QVERIFY(found);
            const double off = cv::norm(found->place - middle);
            QVERIFY2(off < 0.05, qPrintable(QString::number(off)));
            QVERIFY(found->likeness > 0.95);
            QVERIFY(found->likeness <= 1.0 + 1e-6);
        }
    }
}

/// One side of the picture is lit half as much again as the other.
void TestCrossing::unevenLightMovesItLittle() {
    const cv::Point2d middle(30.2, 29.6);
    const Grey print = placed(board, middle, 20);
    const auto found =
        crossingNear(pictureOf([&](double x, double y) { return print(x, y) * (0.8 + 0.4 * x / kSide); }),
                     {30, 30}, kFaint);
    QVERIFY(found);
    const double off = cv::norm(found->place - middle);
    QVERIFY2(off < 0.2, qPrintable(QString::number(off)));
}

/// What is 9 px away belongs to something else.
void TestCrossing::otherPrintBesideIt() {
    const cv::Point2d middle(30, 30);
    const Grey print = placed(lines(3), middle, 0);
    const auto found = crossingNear(
        pictureOf([&](double x, double y) { return x > 39 ? 40.0 : print(x, y); }), {31, 30}, kFaint);
    QVERIFY(found);
    QVERIFY(cv::norm(found->place - middle) < 0.1);
}

void TestCrossing::noneIsFound_data() {
    QTest::addColumn<Grey>("figure");
    QTest::newRow("nothing") << Grey(nothing);
    QTest::newRow("an edge") << Grey(edge);
    QTest::newRow("a line") << Grey(line);
    QTest::newRow("a corner") << Grey(corner);
    QTest::newRow("a dot") << Grey(dot);
    QTest::newRow("three arms") << Grey(star);
    QTest::newRow("a line that ends on another") << Grey(junction);
}

void TestCrossing::noneIsFound() {
    QFETCH(Grey, figure);
    for (const double degrees : {0.0, 17.0, 45.0}) {
        const Slopes picture = pictureOf(placed(figure, {30.2, 29.7}, degrees));
        for (const cv::Point start : {cv::Point(30, 30), cv::Point(27, 31), cv::Point(33, 33)})
            QVERIFY(!crossingNear(picture, start, 0.0));
    }
}

void TestCrossing::noneWhereItIsNoMoreThanNoise() {
    const Slopes picture = pictureOf(placed(board, {30, 30}, 10));
    QVERIFY(crossingNear(picture, {30, 30}, kFaint));
    QVERIFY(!crossingNear(picture, {30, 30}, 1e5));
    // A board of four shades in noise of ten.
    const Grey faint = [](double x, double y) { return 128 + (board(x, y) - 128) / 40; };
    QVERIFY(!crossingNear(pictureOf(placed(faint, {30, 30}, 10), 10.0), {30, 30}, kFaint));
}

void TestCrossing::noneNearTheEndOfThePicture_data() {
    QTest::addColumn<double>("x");
    QTest::addColumn<double>("y");
    QTest::addColumn<bool>("isFound");
    const double far = kSide - 1;
    QTest::newRow("left") << 3.0 << 30.0 << false;
    QTest::newRow("right") << far - 3 << 30.0 << false;
    QTest::newRow("above") << 30.0 << 3.0 << false;
    QTest::newRow("below") << 30.0 << far - 3 << false;
    QTest::newRow("left, with room") << 6.0 << 30.0 << true;
    QTest::newRow("right, with room") << far - 6 << 30.0 << true;
    QTest::newRow("above, with room") << 30.0 << 6.0 << true;
    QTest::newRow("below, with room") << 30.0 << far - 6 << true;
}

void TestCrossing::noneNearTheEndOfThePicture() {
    QFETCH(double, x);
    QFETCH(double, y);
    QFETCH(bool, isFound);
    const Slopes picture = pictureOf(placed(board, {x, y}, 0));
    const auto found = crossingNear(picture, {int(x), int(y)}, kFaint);
    QCOMPARE(bool(found), isFound);
    if (found)
        QVERIFY(cv::norm(found->place - cv::Point2d(x, y)) < 0.05);
}

/// A start far from it, or none of the picture's, finds nothing.
void TestCrossing::onlyNearTheStart() {
    const Slopes picture = pictureOf(placed(board, {30, 30}, 0));
    for (const cv::Point start : {cv::Point(18, 30), cv::Point(30, 43), cv::Point(15, 15), cv::Point(-20, 30),
                                  cv::Point(30, 2 * kSide)})
        QVERIFY(!crossingNear(picture, start, kFaint));
}

QTEST_APPLESS_MAIN(TestCrossing)
#include "tst_crossing.moc"
