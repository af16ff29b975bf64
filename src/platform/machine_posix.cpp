// SPDX-License-Identifier: Apache-2.0
#include "platform/machine.h"

#include <QFile>
#include <QFileInfo>
#include <QSysInfo>
#include <dlfcn.h>

QString platform::fileOfLibrary(const QString&, const char* function) {
    // By its name: within the program, the address of a function may be that of a way to it.
    void* const address = dlsym(RTLD_DEFAULT, function);
    Dl_info info{};
    if (!address || dladdr(address, &info) == 0 || !info.dli_fname)
        return {};
    const QString name = QFile::decodeName(info.dli_fname);
    const QString path = QFileInfo(name).canonicalFilePath();
    return path.isEmpty() ? name : path;
}

QString platform::processorName() {
    QFile file(QStringLiteral("/proc/cpuinfo"));
    if (file.open(QIODevice::ReadOnly)) {
        // It says that it is empty.
        for (QByteArray line = file.readLine(); !line.isEmpty(); line = file.readLine()) {
            if (line.startsWith("model name"))
                return QString::fromUtf8(line.mid(line.indexOf(':') + 1)).simplified();
        }
    }
    return QSysInfo::currentCpuArchitecture();
}
