// SPDX-License-Identifier: Apache-2.0
// A program that crashes in the way it is told and leaves a trace in the folder it is told: crashing KIND
// FOLDER

#include <QByteArray>
#include <QString>
#include <QThread>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <new>
#include <stdexcept>
#include <thread>
#ifndef Q_OS_WIN
#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>
#endif

#include "platform/crashtrace.h"
#include "platform/process.h"

// Not optimised away, not known to the compiler, seen by name in a trace.
volatile int zero = 0;
volatile size_t overrun = 64;
int* volatile nowhere = nullptr;
void (*volatile noFunction)() = nullptr;

void writeNowhere() {
    *nowhere = 1;
}

int fillTheStack(int depth);
int (*volatile deeper)(int) = fillTheStack;  // or it becomes a loop

int fillTheStack(int depth) {
    volatile char frame[1000];
    frame[depth % 1000] = static_cast<char>(depth);
    return deeper((depth + 1) % 1000) + frame[depth % 1000];
}

class OverflowingThread : public QThread {
public:
    void run() override {
        const platform::CrashStack stack;
        zero = fillTheStack(1);
    }
};

void runThread() {
    OverflowingThread thread;
    thread.start();
    thread.wait();
}

#ifndef Q_OS_WIN
/// The library finds its own heap broken, and aborts with the heap locked.
void breakTheHeap() {
    constexpr size_t kSize = 3000;
    volatile char* block = nullptr;
    // One of them is the last before the memory that is not handed out yet.
    for (int i = 0; i < 300; ++i)
        block = static_cast<volatile char*>(std::malloc(kSize));
    for (size_t i = 0; i < kSize + overrun; ++i)
        block[i] = 0x7f;
    for (int i = 0; i < 1000; ++i)
        nowhere = static_cast<int*>(std::malloc(kSize));
}

[[noreturn]] void allocate() {
    for (size_t size = 1;; size = size * 3 % 100'003) {
        auto* const block = new char[size];
        block[0] = 1;
        nowhere = reinterpret_cast<int*>(block);
        delete[] block;
    }
}

void stopWhileItAllocates() {
    std::thread thread(allocate);
    QThread::msleep(20);
    pthread_kill(thread.native_handle(), SIGSEGV);
    thread.join();
}

void crashWithoutMemory() {
    const rlimit nothingMore{1, 1};
    setrlimit(RLIMIT_AS, &nothingMore);
    writeNowhere();
}

/// Standard error is a pipe that is full.
void crashUnread() {
    int ends[2];
    if (pipe(ends) != 0)
        return;
    fcntl(ends[1], F_SETFL, O_NONBLOCK);
    while (write(ends[1], "................", 16) > 0) {
    }
    while (write(ends[1], ".", 1) > 0) {
    }
    fcntl(ends[1], F_SETFL, 0);
    dup2(ends[1], STDERR_FILENO);
    writeNowhere();
}

void crashTwice() {
    std::thread other([] { std::abort(); });
    writeNowhere();
    other.join();
}
#endif

int main(int argc, char* argv[]) {
    if (argc != 3)
        return 2;
#ifndef Q_OS_WIN
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
#endif
    platform::traceCrashes(platform::arguments(argc, argv).at(2), "Crashing 1.2.3");
    const QByteArray kind = argv[1];
    if (kind == "null")
        writeNowhere();
    else if (kind == "call")
        noFunction();
    else if (kind == "overflow")
        zero = fillTheStack(1);
    else if (kind == "threadoverflow")
        runThread();
    else if (kind == "abort")
        std::abort();
    else if (kind == "fatal")
        qFatal("Nothing goes any more");
    else if (kind == "exception")
        throw std::runtime_error("the last word");
    else if (kind == "threadexception")
        std::thread([] { throw std::runtime_error("the last word"); }).join();
    else if (kind == "othertype")
        throw 7;
    else if (kind == "badalloc")
        nowhere = new int[(size_t{1} << 60) + static_cast<size_t>(zero)];
#ifndef Q_OS_WIN
    else if (kind == "divide")
        zero = 1000 / zero;
    else if (kind == "heap")
        breakTheHeap();
    else if (kind == "allocating")
        stopWhileItAllocates();
    else if (kind == "nomemory")
        crashWithoutMemory();
    else if (kind == "unread")
        crashUnread();
    else if (kind == "twice")
        crashTwice();
#endif
    else if (kind == "none")
        return 0;
    return 3;
}
