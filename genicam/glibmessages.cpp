// SPDX-License-Identifier: Apache-2.0
#include "glibmessages.h"

#include <glib.h>

#include <QDebug>
#include <QSet>
#include <QString>

#include <algorithm>
#include <mutex>

namespace kvgen {

namespace {

constexpr int kMaxKinds = 100;
constexpr int kMaxShown = 200;  // characters

thread_local bool isOurs = false;
thread_local int cameraOfThread = kNoCamera;

/// A line without what differs from one time to the next.
QString kindOf(QString line) {
    const auto end = std::remove_if(line.begin(), line.end(), [](QChar c) { return c.isDigit(); });
    line.truncate(static_cast<int>(end - line.begin()));
    return QString::number(cameraOfThread) + line;
}

bool isNew(const QString& line) {
    static std::mutex* const mutex = new std::mutex;
    static QSet<QString>* const kinds = new QSet<QString>;
    const std::lock_guard<std::mutex> lock(*mutex);
    const int before = kinds->size();
    if (before < kMaxKinds)
        kinds->insert(kindOf(line));
    return kinds->size() > before;
}

void handle(const gchar* domain, GLogLevelFlags level, const gchar* message, gpointer) {
    const QString line = QString::fromUtf8(message).simplified().left(kMaxShown);
    // Aravis has no domain, and its complaints begin with a function's name.
    const bool isAravis = domain == nullptr && line.startsWith(QLatin1String("arv_"));
    if ((!isOurs && !isAravis) || (level & G_LOG_FLAG_FATAL) != 0) {
        g_log_default_handler(domain, level, message, nullptr);
        return;
    }
    if (!isNew(line))
        return;
    if (cameraOfThread == kNoCamera)
        qWarning("KVCap2: Aravis says: %s", qPrintable(line));
    else
        qWarning("KVCap2: camera %d: Aravis says: %s", cameraOfThread, qPrintable(line));
}

}  // namespace

void takeMessages(int camera) {
    static std::once_flag* const once = new std::once_flag;
    std::call_once(*once, [] {
        for (const char* domain :
             {static_cast<const char*>(nullptr), "XML", "GLib", "GLib-GObject", "GLib-GIO"})
            g_log_set_handler(
                domain,
                static_cast<GLogLevelFlags>(G_LOG_LEVEL_ERROR | G_LOG_LEVEL_CRITICAL | G_LOG_LEVEL_WARNING |
                                            G_LOG_FLAG_FATAL | G_LOG_FLAG_RECURSION),
                handle, nullptr);
    });
    isOurs = true;
    cameraOfThread = camera;
}

}  // namespace kvgen
