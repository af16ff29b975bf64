// SPDX-License-Identifier: Apache-2.0
#include "scene.h"

#include <QDebug>
#include <QImage>

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <array>
#include <cmath>

namespace kvsim {

namespace {

constexpr double kMargin = 500;      // sheet edge to the fields: one more cell of grid, then paper
constexpr double kGridMargin = 300;  // sheet edge to the grid
constexpr double kInset = 14;        // plate edge to the cell's edge

const Ink kTable{46, 50, 54};
const Ink kPaper{222, 222, 218};
const Ink kPaperShade{206, 208, 209};
const Ink kPlate{231, 231, 228};
const Ink kLine{70, 76, 84};
const Ink kFaint{120, 126, 134};
const Ink kBlack{24, 24, 26};
const Ink kAccent{18, 88, 150};
const Ink kRail{176, 180, 184};

// A colour chart of 6 x 4 patches: strong and muted colours, then greys.
const std::array<Ink, 24> kColours{{
    {200, 40, 40},   {230, 120, 30},  {240, 205, 40},  {60, 160, 70},   {40, 90, 180},   {120, 60, 150},
    {225, 130, 130}, {240, 185, 130}, {245, 230, 150}, {140, 200, 145}, {130, 165, 220}, {180, 145, 205},
    {110, 30, 35},   {120, 70, 25},   {130, 115, 30},  {30, 85, 45},    {25, 50, 105},   {65, 35, 85},
    {236, 236, 233}, {198, 198, 198}, {158, 158, 158}, {116, 116, 116}, {74, 74, 74},    {28, 28, 30},
}};

bool touch(const cv::Rect2d& a, const cv::Rect2d& b) {
    return !(a & b).empty();
}

void centredText(Canvas& canvas, cv::Point2d middle, double height, const std::string& text, const Ink& ink,
                 double weight = 0.13) {
    canvas.text({middle.x - Canvas::textWidth(height, text) / 2, middle.y + height / 2}, height, text, ink,
                weight);
}

/// The area of whole cells of a field, less the inset.
cv::Rect2d cellsOf(cv::Point2d field, int column, int row, int columns, int rows) {
    return {field.x + column * Scene::kCell + kInset, field.y + row * Scene::kCell + kInset,
            columns * Scene::kCell - 2 * kInset, rows * Scene::kCell - 2 * kInset};
}

void drawPlate(Canvas& canvas, const cv::Rect2d& area) {
    canvas.rectangle(area, kPlate);
    canvas.outline(area, 2.5, kFaint);
}

void drawTitle(Canvas& canvas, const cv::Rect2d& area, int camera) {
    drawPlate(canvas, area);
    canvas.rectangle({area.x, area.y, 18, area.height}, kAccent);
    canvas.text({area.x + 44, area.y + 96}, 66, "FIELD " + std::to_string(camera), kBlack, 0.15);
    canvas.text({area.x + 44, area.y + 148}, 21, "1 cell = 20 mm, 10 x 5 cells", kLine, 0.11);
}

void drawColours(Canvas& canvas, const cv::Rect2d& area) {
    drawPlate(canvas, area);
    const double gap = 10;
    const double width = (area.width - 7 * gap) / 6;
    const double height = (area.height - 5 * gap) / 4;
    for (size_t i = 0; i < kColours.size(); ++i) {
        const int column = static_cast<int>(i) % 6;
        const int row = static_cast<int>(i) / 6;
        canvas.rectangle(
            {area.x + gap + column * (width + gap), area.y + gap + row * (height + gap), width, height},
            kColours[i]);
    }
}

void drawGreyWedge(Canvas& canvas, const cv::Rect2d& area) {
    constexpr int kSteps = 11;
    drawPlate(canvas, area);
    const double width = (area.width - 40) / kSteps;
    for (int step = 0; step < kSteps; ++step) {
        const auto level = cv::saturate_cast<uchar>(245 - 22 * step);
        const cv::Rect2d patch(area.x + 20 + step * width, area.y + 46, width, area.height - 66);
        canvas.rectangle(patch, {level, level, level});
        centredText(canvas, {patch.x + width / 2, area.y + 26}, 18, std::to_string(10 * step), kLine, 0.1);
    }
    canvas.outline({area.x + 20, area.y + 46, area.width - 40, area.height - 66}, 2, kLine);
}

void drawLetters(Canvas& canvas, const cv::Rect2d& area) {
    drawPlate(canvas, area);
    canvas.text({area.x + 24, area.y + 54}, 34, "ABCDEFGHIJKLMNOPQRST", kBlack);
    canvas.text({area.x + 24, area.y + 96}, 19, "The quick brown fox jumps over the lazy dog", kBlack);
    canvas.text({area.x + 24, area.y + 130}, 14, "0123456789  +-*/=  bright mark, sharp edge, flat field",
                kBlack);
    canvas.text(
        {area.x + 24, area.y + 152}, 9,
        "0123456789  the smallest line of this block has capital letters of nine tenths of a millimetre",
        kBlack);
}

/// Groups of three black bars that become finer.
void drawBars(Canvas& canvas, const cv::Rect2d& area) {
    drawPlate(canvas, area);
    double x = area.x + 11;
    for (const double width : {8.0, 6.0, 4.0, 3.0, 2.0}) {
        for (int bar = 0; bar < 3; ++bar)
            canvas.rectangle({x + 2 * bar * width, area.y + 14, width, 62}, kBlack);
        x += 6 * width + 3;
    }
    double y = area.y + 92;
    for (const double width : {6.0, 4.0, 2.0}) {
        for (int bar = 0; bar < 3; ++bar)
            canvas.rectangle({area.x + 14, y + 2 * bar * width, area.width - 28, width}, kBlack);
        y += 6 * width - width + 6;
    }
}

void drawRings(Canvas& canvas, const cv::Rect2d& area) {
    drawPlate(canvas, area);
    const cv::Point2d centre = (area.tl() + area.br()) * 0.5;
    for (const double radius : {76, 62, 48, 34, 20})
        canvas.ring(centre, radius - 6, radius, kBlack);
    canvas.disc(centre, 6, kBlack);
}

void drawStar(Canvas& canvas, const cv::Rect2d& area) {
    drawPlate(canvas, area);
    const cv::Point2d centre = (area.tl() + area.br()) * 0.5;
    canvas.star(centre, 76, 48, kBlack);
    canvas.disc(centre, 7, kPlate);
}

/// A mark whose middle can be found to a small part of a pixel.
void drawFiducial(Canvas& canvas, cv::Point2d centre, double radius) {
    canvas.disc(centre, radius * 1.25, kPlate);
    canvas.crossing(centre, radius, kBlack);
}

std::string rowName(int row) {
    std::string name(1, static_cast<char>('A' + row % 26));
    return row < 26 ? name : name + name;
}

}  // namespace

Scene::Scene(const Configuration& configuration)
    : arrangement_(configuration.arrangement),
      cameras_(configuration.cameras.size()),
      moving_(configuration.moving) {
    if (configuration.image.isEmpty())
        return;
    const QImage picture = QImage(configuration.image).convertToFormat(QImage::Format_RGB888);
    if (picture.isNull()) {
        qWarning().noquote() << "KVCap2: cannot read the picture" << configuration.image
                             << "- the test chart is shown";
        return;
    }
    image_ = cv::Mat(picture.height(), picture.width(), CV_8UC3, const_cast<uchar*>(picture.constBits()),
                     static_cast<size_t>(picture.bytesPerLine()))
                 .clone();
}

int Scene::fieldColumns() const {
    const int most = arrangement_ == Arrangement::Grid ? 2 : kMaxCameras;
    return std::clamp(cameras_, 1, most);
}

int Scene::fieldRows() const {
    return std::max(1, (cameras_ + fieldColumns() - 1) / fieldColumns());
}

cv::Size Scene::gridCells() const {
    return {fieldColumns() * kFieldColumns + 2, fieldRows() * kFieldRows + 2};
}

cv::Point2d Scene::gridOrigin() const {
    return {kGridMargin, kGridMargin};
}

cv::Size2d Scene::size() const {
    const cv::Size cells = gridCells();
    return {cells.width * kCell + 2 * kGridMargin, cells.height * kCell + 2 * kGridMargin};
}

cv::Point2d Scene::fieldOrigin(int camera) const {
    const int column = camera % fieldColumns();
    const int row = camera / fieldColumns();
    return {kMargin + column * kFieldColumns * kCell, kMargin + row * kFieldRows * kCell};
}

cv::Rect2d Scene::field(int camera) const {
    const cv::Point2d origin = fieldOrigin(camera);
    return {origin.x, origin.y, kFieldColumns * kCell, kFieldRows * kCell};
}

cv::Point2d Scene::centreOf(int camera) const {
    const cv::Rect2d area = field(camera);
    return (area.tl() + area.br()) * 0.5;
}

cv::Rect2d Scene::display(int camera) const {
    return cellsOf(fieldOrigin(camera), 4, 2, 4, 1);
}

cv::Rect2d Scene::clockCell(int camera, int position) const {
    const cv::Rect2d area = display(camera);
    const double step = (area.width - 32) / kClockCells;
    return {area.x + 16 + position * step, area.y + 12, step, 100};
}

cv::Rect2d Scene::numberCell(int camera, int position) const {
    const cv::Rect2d area = display(camera);
    const double step = 34;
    return {area.x + area.width - 24 - (kNumberCells - position) * step, area.y + 116, step, 48};
}

cv::Point2d Scene::runner(int fieldRow, double seconds) const {
    constexpr double kSpeed = 700;  // scene units a second
    const double first = kMargin + kCell / 2;
    const double length = (fieldColumns() * kFieldColumns - 1) * kCell;
    // Each row begins elsewhere, so that the runners are told apart.
    const double way = std::fmod(seconds * kSpeed + fieldRow * length / 2, 2 * length);
    const double x = first + (way < length ? way : 2 * length - way);
    return {x, kMargin + (fieldRow * kFieldRows + 0.5) * kCell};
}

Canvas Scene::draw(const cv::Rect2d& area, double scale) const {
    Canvas canvas(area, scale, kTable);
    if (!image_.empty()) {
        drawImage(canvas);
    } else {
        drawSheet(canvas);
        drawGrid(canvas);
        drawRulers(canvas);
        drawRails(canvas);
        for (int camera = 0; camera < cameras_; ++camera) {
            if (touch(field(camera), area))
                drawField(canvas, camera);
        }
        drawCrossings(canvas);
    }
    for (int camera = 0; camera < cameras_; ++camera) {
        if ((moving_ || image_.empty()) && touch(display(camera), area))
            drawDisplay(canvas, camera);
    }
    return canvas;
}

void Scene::drawSheet(Canvas& canvas) const {
    canvas.rectangle({0, 0, size().width, size().height}, kPaper);
    canvas.outline({24, 24, size().width - 48, size().height - 48}, 3, kFaint);
}

void Scene::drawGrid(Canvas& canvas) const {
    const cv::Point2d origin = gridOrigin();
    const cv::Size cells = gridCells();
    for (int row = 0; row < cells.height; ++row) {
        for (int column = 0; column < cells.width; ++column) {
            const cv::Rect2d cell(origin.x + column * kCell, origin.y + row * kCell, kCell, kCell);
            if (!touch(cell, canvas.area()))
                continue;
            if ((row + column) % 2 == 0)
                canvas.rectangle(cell, kPaperShade);
            centredText(canvas, {cell.x + kCell / 2, cell.y + 30}, 16, rowName(row) + std::to_string(column),
                        kFaint, 0.1);
        }
    }
    constexpr double kWidth = 3;
    for (int column = 0; column <= cells.width; ++column)
        canvas.rectangle({origin.x + column * kCell - kWidth / 2, origin.y - kWidth / 2, kWidth,
                          cells.height * kCell + kWidth},
                         kLine);
    for (int row = 0; row <= cells.height; ++row)
        canvas.rectangle({origin.x - kWidth / 2, origin.y + row * kCell - kWidth / 2,
                          cells.width * kCell + kWidth, kWidth},
                         kLine);
}

/// Millimetres along the grid's four sides.
void Scene::drawRulers(Canvas& canvas) const {
    const cv::Point2d origin = gridOrigin();
    const double right = size().width - kGridMargin;
    const double bottom = size().height - kGridMargin;
    const auto tickLength = [](int millimetre) {
        return millimetre % 10 == 0 ? 44.0 : millimetre % 5 == 0 ? 30.0 : 18.0;
    };
    for (int mm = 0; origin.x + mm * 10 <= right; ++mm) {
        const double x = origin.x + mm * 10 - 1;
        const double length = tickLength(mm);
        canvas.rectangle({x, origin.y - 20 - length, 2, length}, kLine);
        canvas.rectangle({x, bottom + 20, 2, length}, kLine);
        if (mm % 20 == 0) {
            centredText(canvas, {x + 1, origin.y - 92}, 22, std::to_string(mm), kLine, 0.1);
            centredText(canvas, {x + 1, bottom + 92}, 22, std::to_string(mm), kLine, 0.1);
        }
    }
    for (int mm = 0; origin.y + mm * 10 <= bottom; ++mm) {
        const double y = origin.y + mm * 10 - 1;
        const double length = tickLength(mm);
        canvas.rectangle({origin.x - 20 - length, y, length, 2}, kLine);
        canvas.rectangle({right + 20, y, length, 2}, kLine);
        if (mm % 20 == 0) {
            centredText(canvas, {origin.x - 104, y + 1}, 22, std::to_string(mm), kLine, 0.1);
            centredText(canvas, {right + 104, y + 1}, 22, std::to_string(mm), kLine, 0.1);
        }
    }
    canvas.text({origin.x, 150}, 56, "REFERENCE GRID", kBlack, 0.15);
    canvas.text({origin.x + 760, 150}, 30, "pitch 20 mm, lines 0.3 mm, rulers in millimetres", kLine, 0.1);
}

void Scene::drawCrossings(Canvas& canvas) const {
    const cv::Point2d origin = gridOrigin();
    const cv::Size cells = gridCells();
    for (int row = 0; row <= cells.height; ++row) {
        for (int column = 0; column <= cells.width; ++column) {
            const int inFieldRow = (row - 1 + kFieldRows) % kFieldRows;
            const int inFieldColumn = (column - 1 + kFieldColumns) % kFieldColumns;
            // The plates cover the crossings inside a field but for its outermost cells.
            if (inFieldRow >= 2 && inFieldRow <= 3 && inFieldColumn >= 2 && inFieldColumn <= 7)
                continue;
            const cv::Point2d place(origin.x + column * kCell, origin.y + row * kCell);
            const bool isCorner = inFieldRow == 0 && inFieldColumn == 0 && row > 0 && column > 0 &&
                                  row < cells.height && column < cells.width;
            if (!touch({place.x - 60, place.y - 60, 120, 120}, canvas.area()))
                continue;
            if (isCorner) {
                canvas.disc(place, 46, kPlate);
                canvas.ring(place, 38, 44, kAccent);
                drawFiducial(canvas, place, 28);
            } else {
                drawFiducial(canvas, place, 12);
            }
        }
    }
}

void Scene::drawField(Canvas& canvas, int camera) const {
    const cv::Point2d origin = fieldOrigin(camera);
    drawTitle(canvas, cellsOf(origin, 1, 1, 3, 1), camera);
    drawColours(canvas, cellsOf(origin, 1, 2, 3, 2));
    drawGreyWedge(canvas, cellsOf(origin, 4, 1, 4, 1));
    drawLetters(canvas, cellsOf(origin, 4, 3, 4, 1));
    drawStar(canvas, cellsOf(origin, 8, 1, 1, 1));
    drawBars(canvas, cellsOf(origin, 8, 2, 1, 1));
    drawRings(canvas, cellsOf(origin, 8, 3, 1, 1));
}

void Scene::drawRails(Canvas& canvas) const {
    const double left = kMargin + 20;
    const double width = fieldColumns() * kFieldColumns * kCell - 40;
    for (int row = 0; row < fieldRows(); ++row) {
        const double y = kMargin + (row * kFieldRows + 0.5) * kCell;
        canvas.rectangle({left, y - 50, width, 100}, kPlate);
        canvas.outline({left, y - 50, width, 100}, 2.5, kFaint);
        canvas.rectangle({left + 20, y - 3, width - 40, 6}, kRail);
    }
}

void Scene::drawDisplay(Canvas& canvas, int camera) const {
    const cv::Rect2d area = display(camera);
    canvas.rectangle(area, displayInk());
    canvas.outline(area, 5, kFaint);
    const cv::Rect2d number = numberCell(camera, 0);
    canvas.text({area.x + 30, number.y + 38}, 28, "CAMERA " + std::to_string(camera), digitInk(), 0.12);
    canvas.text({number.x - 170, number.y + 38}, 28, "FRAME", digitInk(), 0.12);
}

/// The picture is spread over the whole sheet.
void Scene::drawImage(Canvas& canvas) const {
    const double wantedX = size().width * canvas.scale() / image_.cols;
    const double wantedY = size().height * canvas.scale() / image_.rows;
    cv::Mat source = image_;
    if (wantedX < 1 || wantedY < 1) {
        const cv::Size shrunk(std::max(1, cvRound(image_.cols * std::min(1.0, wantedX))),
                              std::max(1, cvRound(image_.rows * std::min(1.0, wantedY))));
        cv::resize(image_, source, shrunk, 0, 0, cv::INTER_AREA);
    }
    const cv::Matx33d pixelToScene(size().width / source.cols, 0, 0.5 * size().width / source.cols,  //
                                   0, size().height / source.rows, 0.5 * size().height / source.rows, 0, 0,
                                   1);
    cv::warpPerspective(source, canvas.picture(), canvas.sceneToPixel() * pixelToScene,
                        canvas.picture().size(), cv::INTER_LINEAR, cv::BORDER_TRANSPARENT);
}

}  // namespace kvsim
