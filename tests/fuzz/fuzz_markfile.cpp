// SPDX-License-Identifier: Apache-2.0
// A whole file through the reader of the scene, then written and read again: the second writing must equal
// the first.
#include <QBuffer>

#include "fuzz/fuzzgui.h"
#include "support/marktest.h"

namespace {

QByteArray readAndWrite(QByteArray content, InteractiveScene& scene) {
    QBuffer buffer(&content);
    buffer.open(QIODevice::ReadOnly | QIODevice::Text);
    MarkFileReader reader(&buffer);
    std::vector<std::unique_ptr<Mark>> owned;
    QList<Mark*> marks;
    while (auto mark = reader.next(&scene)) {
        marks.append(mark.get());
        owned.push_back(std::move(mark));
    }
    return markFileContent(marks);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    static InteractiveScene scene(nullptr, 1);
    const QByteArray content(reinterpret_cast<const char*>(data), static_cast<int>(size));
    const QByteArray written = readAndWrite(content, scene);
    if (readAndWrite(written, scene) != written)
        __builtin_trap();
    return 0;
}
