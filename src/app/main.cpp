// SPDX-License-Identifier: Apache-2.0
#include <QApplication>
#include <QDebug>
#include <QDir>
#include <optional>

#include "app/commandline.h"
#include "app/crashtrace.h"
#include "app/guidekey.h"
#include "app/mainwindow.h"
#include "app/onlyprogram.h"
#include "app/orderlyend.h"
#include "app/programlog.h"
#include "app/screens.h"
#include "app/startfolder.h"
#include "platform/process.h"

namespace {

constexpr int kNoFolderCode = 4;  // the given or the registered folder cannot be entered

}  // namespace

int main(int argc, char* argv[]) {
    platform::prepareProcess();
    const CommandLine options = CommandLine::read(argc, argv);
    if (options.answer)
        return options.giveAnswer();
    prepareScreens();
    QApplication application(argc, argv);
    useSystemFont();
    const QString problem = enterStartFolder(options.folder);
    if (!problem.isEmpty()) {
        platform::tell(platform::Channel::Error, problem + QLatin1Char('\n'));
        return kNoFolderCode;
    }
    const QString folder = QDir::currentPath();
    OnlyProgram only(folder);
    if (only.isTaken() && only.giveWay())
        return OnlyProgram::kTakenCode;
    // A folder without a name would be that of the whole system.
    const bool hasName = !folder.isEmpty();
    const ProgramLog log(hasName || !options.logFile.isEmpty() ? std::optional(options.logFile)
                                                               : std::nullopt);
    if (!only.problem().isEmpty())
        qWarning().noquote() << only.problem();
    std::optional<CrashTrace> trace;
    // Wherever the log is: that may be a folder for many stations.
    if (hasName)
        trace.emplace(QDir(folder).filePath(QStringLiteral("logs")),
                      restartArguments(folder, options.logFile));
    else
        qWarning("There is no %s since the working folder has no name",
                 options.logFile.isEmpty() ? "log file and no trace of a crash" : "trace of a crash");
    OrderlyEnd end;
    const GuideKey guideKey(QCoreApplication::applicationDirPath());
    MainWindow window(nullptr);
    // Or, left from full screen, its status bar and close button were beyond the edge.
    fitToScreen(&window);
    window.show();
    return end.run(&window, window.parts());
}
