// SPDX-License-Identifier: Apache-2.0
// One line: what reads as a mark must come back from its own text, be painted and moved without harm.
#include "fuzz/fuzzgui.h"
#include "marks/textmark.h"
#include "support/marktest.h"

namespace {

void use(Mark& mark, InteractiveScene& scene, QImage& canvas) {
    // A line that was written reads as the same line again. The overlays' lines are the known exception.
    if (!dynamic_cast<TextMark*>(&mark)) {
        const QString text = mark.toText();
        const auto again = markFromLine(text, &scene);
        if (!again || again->toText() != text)
            __builtin_trap();
    }
    const QRectF bounds = mark.boundingRect();
    if (!(bounds.width() < 1e7) || !(bounds.height() < 1e7))
        __builtin_trap();
    QPainter painter(&canvas);
    mark.paint(&painter, nullptr, nullptr);
    mark.shiftBy(1.5, -2.5);
    mark.paint(&painter, nullptr, nullptr);
    mark.toText();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    static InteractiveScene scene(nullptr, 1);
    static QImage canvas(200, 150, QImage::Format_RGB32);
    scene.setSceneRect(0, 0, 200, 150);
    // The first byte chooses a zoom.
    scene.viewZoom = size > 0 ? (data[0] % 16) / 4.0 : 1.0;
    const QString line = QString::fromLatin1(reinterpret_cast<const char*>(data), static_cast<int>(size));
    if (const auto mark = markFromLine(line, &scene))
        use(*mark, scene, canvas);
    if (const auto mark = markFromLine(line.mid(1), &scene))
        use(*mark, scene, canvas);
    if (const auto text = TextMark::fromText(line.mid(1), &scene))
        use(*text, scene, canvas);
    return 0;
}
