// SPDX-License-Identifier: Apache-2.0
/// A `KVCap2` library that records every call and answers as a test tells it: a real shared library under the
/// real name, so that the code under test is linked and called as it is with cameras. The functions here are
/// extra exports of that library. All are thread-safe.
///
/// A program that knows nothing of them is told by its environment: RECORDING_CAMERAS, how many are attached;
/// RECORDING_TIMEOUTS=ms, every query ends after so long without a frame; RECORDING_HANGS=index, that
/// camera's queries never return; RECORDING_LOG=file, where the calls are written, but for those for frames,
/// a line each; RECORDING_LATE_STATE=1, the first query makes something that the library takes down when the
/// process ends, with the line "LibraryEnds()".
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>
#include <cstdint>
#include <optional>

namespace recording {

/// One call of a library operation.
struct Call {
    QString operation;  ///< "CameraInit", ...
    int32_t index;      ///< camera index, -1 where the operation has none
    QString value;      ///< the argument that is passed in, as text; empty where there is none
    bool onGuiThread;   ///< made on the thread of the application object
    /// "CameraSetTimeout(0, 1500)"
    QString text() const;
};

/// How one camera answers.
struct Camera {
    QByteArray serial = "SN";
    int32_t width = 64;
    int32_t height = 48;
    int32_t modes = 1;  ///< resolution modes, each half as large as the one before
    /// Added to the length that the size asks for, to announce padded, short or no buffers.
    int32_t extraLength = 0;
    /// Announced instead, whatever the size asks for; queries fill what fits into it.
    std::optional<int32_t> length = {};
    /// Bytes that a query writes less than was announced.
    int32_t missing = 0;
    /// Result of every operation on this camera other than the query; when not 0 no out-value is written.
    int32_t status = 0;
    /// Result of a query; when not 0 it returns after `queryDelay` without a frame.
    int32_t queryStatus = 0;
    int32_t queryDelay = 5;  ///< ms that a query takes
    /// A query waits for `releaseQueries` before it goes on.
    bool holdQueries = false;
    /// A question for a parameter does, too.
    bool holdGetters = false;
};

/// Forgets all calls and lets `cameras` be attached.
void reset(const QVector<Camera>& cameras);
/// As many ordinary cameras with the serial numbers SN0, SN1, ...
void reset(int count);
/// Reports another number of cameras than there are answers for.
void setReportedCount(int32_t count, int32_t status = 0);
void setCamera(int index, const Camera& camera);
/// Lets held queries and getters go on, also those to come.
void releaseQueries();
/// Number of queries that are inside the library now.
int queriesUnderWay();
/// Number of held getters that are inside the library now.
int gettersUnderWay();

QVector<Call> calls();
/// The calls as text, without the acquisition operations that capture threads repeat.
QStringList callsButFrames();
/// Calls of one operation.
QVector<Call> callsOf(const QString& operation);
void forgetCalls();

}  // namespace recording
