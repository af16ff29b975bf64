// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QGraphicsEffect>
#include <QGraphicsPixmapItem>
#include <QGraphicsScene>
#include <QPainter>
#include <QtTest>
#include <memory>

/// What the pixels of tiles are: those of a camera, as they are or in the format that Qt paints; or any.
struct Pixels {
    QImage::Format camera = QImage::Format_RGB32;
    bool areConverted = false;
};

inline QPixmap pattern(int seed, Pixels pixels, QSize size = {40, 30}) {
    QImage image(size, QImage::Format_RGB32);
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x)
            image.setPixel(x, y, qRgb((x * 7 + seed) % 256, (y * 5 + seed) % 256, (x * y + seed) % 256));
    }
    return QPixmap::fromImage(image.convertToFormat(pixels.camera),
                              pixels.areConverted ? Qt::AutoColor : Qt::NoFormatConversion);
}

/// What can be different about the tiles of a scene of 80 x 30 px.
enum class Oddity {
    None,
    Gap,
    Overlap,
    BeyondTheEdge,
    Hidden,
    Selected,
    HalfAPixel,
    Scaled,
    Translucent,
    Faded,
    MarkBelow,
    HighDpi,
    PartOfAPixel,
    Elsewhere,
    Overhang,
};

/// Paints a caption outside its rectangle; its effect says so.
class OverhangingItem : public QGraphicsRectItem {
public:
    explicit OverhangingItem(const QRectF& rect) : QGraphicsRectItem(rect) {
        class Effect : public QGraphicsEffect {
        public:
            QRectF boundingRectFor(const QRectF& rect) const override {
                return rect.adjusted(-60, -30, 60, 30);
            }

        protected:
            void draw(QPainter* painter) override { drawSource(painter); }
        };
        setGraphicsEffect(new Effect);  // owned by this
    }
    void paint(QPainter* painter, const QStyleOptionGraphicsItem*, QWidget*) override {
        painter->setPen(Qt::yellow);
        painter->drawText(rect().topLeft() + QPointF(30, 10), QStringLiteral("W:12"));
    }
};

inline std::unique_ptr<QGraphicsScene> sceneWith(Oddity oddity, Pixels pixels = {}) {
    auto scene = std::make_unique<QGraphicsScene>();
    if (oddity == Oddity::MarkBelow)
        scene->addRect(0, 0, 60, 25, QPen(Qt::red), Qt::green);
    QPixmap second = pattern(90, pixels);
    if (oddity == Oddity::Translucent) {
        QImage image(second.size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(QColor(200, 100, 50, 90));
        second = QPixmap::fromImage(image);
    }
    if (oddity == Oddity::HighDpi)
        second.setDevicePixelRatio(2);
    auto* left = scene->addPixmap(pattern(3, pixels));
    auto* right = scene->addPixmap(second);
    right->setPos(40, 0);
    scene->setSceneRect(0, 0, 80, 30);
    switch (oddity) {
        case Oddity::Gap:
            right->setPos(47, 3);
            break;
        case Oddity::Overlap:
            right->setPos(21, 4);
            break;
        case Oddity::BeyondTheEdge:
            left->setPos(-9, -8);
            right->setPos(60, 12);
            break;
        case Oddity::Hidden:
            right->hide();
            break;
        case Oddity::Selected:
            right->setFlag(QGraphicsItem::ItemIsSelectable);
            right->setSelected(true);
            break;
        case Oddity::HalfAPixel:
            right->setPos(40.5, 0.5);
            break;
        case Oddity::Scaled:
            right->setScale(0.7);
            break;
        case Oddity::Faded:
            right->setOpacity(0.4);
            break;
        case Oddity::PartOfAPixel:
            scene->setSceneRect(0, 0, 80.7, 30.2);
            break;
        case Oddity::Elsewhere:
            for (auto* item : {left, right})
                item->moveBy(1000, -500);
            scene->setSceneRect(1000, -500, 80, 30);
            break;
        case Oddity::Overhang:
            scene->addItem(new OverhangingItem(QRectF(2, 12, 8, 6)));
            break;
        case Oddity::None:
        case Oddity::Translucent:
        case Oddity::MarkBelow:
        case Oddity::HighDpi:
            break;
    }
    // Over the tiles and, where there is a gap, over nothing.
    const QPointF corner = scene->sceneRect().topLeft();
    QPen pen(QColor(255, 0, 0, 128), 1.5);
    scene->addEllipse(QRectF(5, 5, 70, 20).translated(corner), pen);
    auto* text = scene->addSimpleText(QStringLiteral("Tgq 12"));
    text->setBrush(Qt::yellow);
    text->setPos(corner + QPointF(30, 5));
    // Small text at places between pixels, where blending shows how it rounds.
    int number = 0;
    for (const QColor& colour :
         {QColor(Qt::red), QColor(Qt::green), QColor(Qt::blue), QColor(10, 200, 90, 120)}) {
        auto* small = scene->addSimpleText(QStringLiteral("fA%1 j").arg(number));
        small->setBrush(colour);
        small->setPos(corner + QPointF(2.5 + 17.3 * number, 1.5 + 4.7 * number));
        small->setRotation(number == 3 ? 30 : 0);
        ++number;
    }
    return scene;
}

inline void addOddities() {
    QTest::addColumn<int>("oddity");
    QTest::addColumn<QImage::Format>("format");  // of the tiles
    QTest::addColumn<bool>("isConverted");       // the bottom tile at least
    QTest::addColumn<bool>("isCovered");
    const auto row = [](const char* name, Oddity oddity, bool isConverted, bool isCovered) {
        QTest::newRow(name) << int(oddity) << QImage::Format_RGB32 << isConverted << isCovered;
        QTest::addRow("%s, grey", name)
            << int(oddity) << QImage::Format_Grayscale8 << isConverted << isCovered;
        QTest::addRow("%s, colour", name) << int(oddity) << QImage::Format_RGB888 << isConverted << isCovered;
    };
    row("none", Oddity::None, true, true);
    row("gap", Oddity::Gap, true, false);
    row("overlap", Oddity::Overlap, true, false);
    row("beyond the edge", Oddity::BeyondTheEdge, true, false);
    row("hidden", Oddity::Hidden, true, false);
    row("selected", Oddity::Selected, true, false);
    row("half a pixel", Oddity::HalfAPixel, true, false);
    row("scaled", Oddity::Scaled, true, false);
    row("translucent", Oddity::Translucent, true, false);
    row("faded", Oddity::Faded, true, false);
    row("mark below", Oddity::MarkBelow, false, false);
    row("high DPI", Oddity::HighDpi, true, false);
    row("part of a pixel", Oddity::PartOfAPixel, false, false);
    row("elsewhere", Oddity::Elsewhere, true, true);
    row("overhang", Oddity::Overhang, false, true);
}
