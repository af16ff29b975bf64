// SPDX-License-Identifier: Apache-2.0
// The saved lines of the overlays and the date-time format, as the start takes them from setting.ini; then
// what a barcode reader types. Parts: barcode line, date-time line, format, keys. The first byte chooses a
// zoom.
#include <QKeyEvent>

#include "fuzz/fuzzgui.h"
#include "marks/textmark.h"
#include "support/marktest.h"

namespace {

/// All that is in the scene can be painted, asked for its line and moved.
void use(InteractiveScene& scene) {
    const auto items = scene.items();
    for (QGraphicsItem* item : items) {
        auto* overlay = dynamic_cast<TextMark*>(item);
        if (!overlay)
            continue;
        const QRectF bounds = overlay->boundingRect();
        must(bounds.width() < 1e7 && bounds.height() < 1e7, "an overlay has a size that can be painted");
        overlay->toText();
        overlay->shiftBy(1.5, -2.5);
    }
    rendered(scene);
    QCoreApplication::sendPostedEvents();
}

void type(InteractiveScene& scene, const QString& keys) {
    int scans = 0;
    QObject::connect(&scene, &InteractiveScene::scanned, [&scans](const QString& barcode) {
        must(barcode.size() <= 4296, "a barcode has an end");
        ++scans;
    });
    for (const QChar key : keys.left(300)) {
        const int code = key == QLatin1Char('\n')   ? int(Qt::Key_Return)
                         : key == QLatin1Char('\b') ? int(Qt::Key_Backspace)
                                                    : int(key.unicode());
        QKeyEvent press(QEvent::KeyPress, code, Qt::NoModifier, key);
        QCoreApplication::sendEvent(&scene, &press);
    }
    must(scans <= keys.count(QLatin1Char('\n')), "no barcode without Return");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    if (size == 0)
        return 0;
    auto parts = partsOf(bytesOf(data + 1, size - 1));
    while (parts.size() < 4)
        parts.append(QByteArray());
    InteractiveScene scene(nullptr, InteractiveScene::DeleteKeyDeletes);
    scene.setSceneRect(0, 0, 200, 150);
    scene.viewZoom = (data[0] % 16) / 4.0;
    scene.restoreBarcodeMark(QString::fromUtf8(parts[0]));
    scene.setDateTimeFormat(QString::fromUtf8(parts[2]));
    scene.restoreDateTimeMark(QString::fromUtf8(parts[1]));
    use(scene);
    type(scene, QString::fromUtf8(parts[3]));
    use(scene);
    return 0;
}
