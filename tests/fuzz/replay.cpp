// SPDX-License-Identifier: Apache-2.0
// Runs a fuzz target over the files of the folders that it is given, in a build without libFuzzer.
#include <QDirIterator>

#include "fuzz/fuzzgui.h"

int main(int argc, char* argv[]) {
    int count = 0;
    for (int i = 1; i < argc; ++i) {
        QDirIterator files(QString::fromLocal8Bit(argv[i]), QDir::Files);
        while (files.hasNext()) {
            const QString name = QFileInfo(files.next()).absoluteFilePath();
            // The last name is that of the input at fault.
            std::printf("%s\n", qPrintable(name));
            std::fflush(stdout);
            const QByteArray input = contentOfFile(name);
            LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t*>(input.constData()),
                                   static_cast<size_t>(input.size()));
            ++count;
        }
    }
    std::printf("%d inputs\n", count);
    return count > 0 ? 0 : 1;
}
