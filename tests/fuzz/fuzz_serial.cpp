// SPDX-License-Identifier: Apache-2.0
// Deliveries of the serial line, one behind the other, as the window hands them on: each is parsed and
// carried out. The first byte is the number of cameras.
#include <QEventLoop>
#include <cmath>

#include "control/commandexecutor.h"
#include "fuzz/fuzzgui.h"
#include "support/recordingcamera.h"

namespace {

constexpr int kMostDeliveries = 40;
using Kind = SerialCommand::Kind;

/// What the executor has asked of the program around it.
struct Done {
    int shown = 0;
    int saved = 0;
    int changed = 0;
    int delay = 0;  // ms
};

CommandExecutor::Actions countedIn(Done& done) {
    CommandExecutor::Actions actions;
    actions.show = [&done](const QString&) { ++done.shown; };
    actions.save = [&done] { ++done.saved; };
    // A delay that can be waited for.
    actions.saveDelay = [&done] { return std::min(done.delay, 1); };
    actions.setSaveDelay = [&done](int delay) { done.delay = delay; };
    actions.parametersChanged = [&done] { ++done.changed; };
    return actions;
}

bool isParameter(Kind kind) {
    return kind == Kind::Gamma || kind == Kind::Contrast || kind == Kind::Exposure || kind == Kind::Gain ||
           kind == Kind::AdvancedGain;
}

/// Operations that the command has to cause.
int expectedCalls(const SerialCommand& command, int cameras) {
    if (!isParameter(command.kind) && command.kind != Kind::Save)
        return 0;
    if (command.camera < 0)
        return cameras;
    return command.camera < cameras ? 1 : 0;
}

void execute(const QByteArray& delivery, CommandExecutor& executor, int cameras, Done& done, int& triggers) {
    const SerialCommand command = parseSerialCommand(delivery);
    const Done before = done;
    recording::forgetCalls();
    executor.execute(command);

    must(done.shown - before.shown == (command.kind == Kind::None ? 0 : 1), "a command is shown once");
    must(done.changed - before.changed == (isParameter(command.kind) ? 1 : 0), "a parameter is told once");
    const auto calls = recording::calls();
    must(calls.size() == expectedCalls(command, cameras), "each camera meant is called once");
    for (const auto& call : calls)
        must(call.index >= 0 && call.index < cameras, "no call for a camera that is not there");
    if (isParameter(command.kind))
        must(command.value >= 0.0, "no value below 0");
    if (command.kind == Kind::SetDelay)
        must(done.delay == (command.delay >= 1 ? command.delay : before.delay),
             "a delay counts if it is one");
    if (command.kind == Kind::Trigger)
        ++triggers;
    const int end = delivery.indexOf('\0');
    if (end >= 0)
        must(parseSerialCommand(delivery.left(end)).echo == command.echo, "nothing behind a NUL counts");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    startApplication();
    if (size == 0)
        return 0;
    const int cameras = data[0] % 5;
    recording::reset(cameras);
    Done done;
    int triggers = 0;
    CommandExecutor executor(cameras, countedIn(done));
    const auto deliveries = partsOf(bytesOf(data + 1, size - 1)).mid(0, kMostDeliveries);
    for (const QByteArray& delivery : deliveries)
        execute(delivery, executor, cameras, done, triggers);
    while (done.saved < triggers)
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    must(done.saved == triggers, "every trigger takes one picture");
    return 0;
}
