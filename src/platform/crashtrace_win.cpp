// SPDX-License-Identifier: Apache-2.0
#include "platform/crashtrace.h"

#include <QDebug>
#include <atomic>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cwchar>
#include <qt_windows.h>
// After the one above, which they need.
#include <dbghelp.h>
#include <psapi.h>

#include "platform/nativename_win.h"
#include "platform/uncaught.h"

// What a crash leaves is written by a thread of its own, made before: the one that crashed may have no stack
// left, and a thread cannot well look at itself.

namespace {

constexpr DWORD kPatience = 30'000;  // ms for a trace
constexpr SIZE_T kWriterStack = SIZE_T{1} << 20;
constexpr ULONG kOverflowStack = 64 << 10;  // bytes kept for what a thread does when its stack is full
constexpr int kMostFrames = 128;
constexpr int kLongestPath = 32'767;        // letters, for Windows
constexpr DWORD kAborted = 0xE0414254;      // an exception of ours
constexpr DWORD kThrownByGcc = 0x20474343;  // what its C++ exceptions are to Windows

using WriteDump = decltype(&MiniDumpWriteDump);
using ListModules = decltype(&EnumProcessModules);

/// What is known before a crash.
struct Known {
    wchar_t folder[kLongestPath] = {};
    char program[256] = {};
    WriteDump writeDump = nullptr;
    ListModules listModules = nullptr;
    HANDLE crashed = nullptr;  // an event: there is something to write
    HANDLE written = nullptr;
    DWORD writer = 0;  // its thread
};
Known known;

/// What crashed.
struct Crash {
    EXCEPTION_POINTERS* exception = nullptr;
    DWORD thread = 0;
    SYSTEMTIME time{};     // the writer's, as the next
    bool hasDump = false;  // begun at least
};
Crash crash;
std::atomic<DWORD> crashingThread{0};  // the first that crashes
LPTOP_LEVEL_EXCEPTION_FILTER filterBefore = nullptr;

// ---- the text ------------------------------------------------------------------------------------

/// Writes into the file and to standard error, as far as there are these.
class Text {
public:
    explicit Text(HANDLE target) : file(target) {}

    void print(const char* format, ...) Q_ATTRIBUTE_FORMAT_PRINTF(2, 3);

private:
    const HANDLE file;
};

void Text::print(const char* format, ...) {
    char line[1024];
    va_list values;
    va_start(values, format);
    const int length = std::vsnprintf(line, sizeof line, format, values);
    va_end(values);
    if (length <= 0)
        return;
    const DWORD size = length < int{sizeof line} ? static_cast<DWORD>(length) : DWORD{sizeof line - 1};
    DWORD done = 0;
    for (const HANDLE target : {file, GetStdHandle(STD_ERROR_HANDLE)}) {
        if (target != nullptr && target != INVALID_HANDLE_VALUE)
            WriteFile(target, line, size, &done, nullptr);
    }
}

/// What lies at an address: module and offset in it.
void printPlace(Text& text, DWORD64 address) {
    HMODULE module = nullptr;
    char name[MAX_PATH] = "?";
    const DWORD flags = GET_MODULE_HANDLE_EX_FLAG_FROM_ADDRESS | GET_MODULE_HANDLE_EX_FLAG_UNCHANGED_REFCOUNT;
    if (GetModuleHandleExW(flags, reinterpret_cast<LPCWSTR>(address), &module) != 0) {
        wchar_t path[MAX_PATH] = L"?";
        GetModuleFileNameW(module, path, MAX_PATH);
        const wchar_t* const last = std::wcsrchr(path, L'\\');
        WideCharToMultiByte(CP_UTF8, 0, last != nullptr ? last + 1 : path, -1, name, sizeof name, nullptr,
                            nullptr);
    }
    text.print("0x%llx  %s+0x%llx\n", static_cast<unsigned long long>(address), name,
               static_cast<unsigned long long>(address - reinterpret_cast<DWORD64>(module)));
}

/// The thread waits meanwhile, and its stack stays as it is.
void printFrames(Text& text, CONTEXT context) {
    text.print("\nFrames, the innermost first; but for that one, where each returns to:\n");
#ifdef _WIN64
    // The innermost may well be at 0: a call of no function.
    for (int frame = 0; frame < kMostFrames && (frame == 0 || context.Rip != 0); ++frame) {
        text.print("#%-3d", frame);
        printPlace(text, context.Rip);
        DWORD64 base = 0;
        // A step back can itself run into what is no stack; then the writer crashes, and that is the end.
        PRUNTIME_FUNCTION const function = RtlLookupFunctionEntry(context.Rip, &base, nullptr);
        if (function != nullptr) {
            void* handler = nullptr;
            DWORD64 establisher = 0;
            RtlVirtualUnwind(UNW_FLAG_NHANDLER, base, context.Rip, function, &context, &handler, &establisher,
                             nullptr);
            continue;
        }
        // A function that calls none, or no function at all: its stack begins with where it returns to.
        DWORD64 caller = 0;
        SIZE_T size = 0;
        if (ReadProcessMemory(GetCurrentProcess(), reinterpret_cast<const void*>(context.Rsp), &caller,
                              sizeof caller, &size) == 0)
            return;
        context.Rip = caller;
        context.Rsp += sizeof caller;
    }
#endif
}

void printModules(Text& text) {
    text.print("\nModules:\n");
    HMODULE modules[1024];
    DWORD size = 0;
    if (known.listModules == nullptr ||
        known.listModules(GetCurrentProcess(), modules, sizeof modules, &size) == 0)
        return;
    const DWORD count = size < sizeof modules ? size / DWORD{sizeof(HMODULE)} : 1024;
    for (DWORD i = 0; i < count; ++i) {
        wchar_t path[MAX_PATH] = L"?";
        char name[3 * MAX_PATH] = "?";
        GetModuleFileNameW(modules[i], path, MAX_PATH);
        WideCharToMultiByte(CP_UTF8, 0, path, -1, name, sizeof name, nullptr, nullptr);
        // Built on its own, a module has this instead of a build ID.
        const auto* const start = reinterpret_cast<const unsigned char*>(modules[i]);
        const auto* const header = reinterpret_cast<const IMAGE_NT_HEADERS*>(
            start + reinterpret_cast<const IMAGE_DOS_HEADER*>(start)->e_lfanew);
        text.print("%p  %s, of %08lx, %lu bytes\n", static_cast<void*>(modules[i]), name,
                   header->FileHeader.TimeDateStamp, header->OptionalHeader.SizeOfImage);
    }
}

void writeText(HANDLE file) {
    Text text(file);
    const SYSTEMTIME& time = crash.time;
    const EXCEPTION_RECORD& record = *crash.exception->ExceptionRecord;
    text.print("%s crashed: %s 0x%08lx\n", known.program,
               record.ExceptionCode == kAborted ? "aborted," : "exception", record.ExceptionCode);
    text.print("Time:      %04u-%02u-%02u %02u:%02u:%02u UTC\n", time.wYear, time.wMonth, time.wDay,
               time.wHour, time.wMinute, time.wSecond);
    if (record.ExceptionCode == EXCEPTION_ACCESS_VIOLATION && record.NumberParameters >= 2)
        text.print("Address:   0x%llx, which could not be %s\n",
                   static_cast<unsigned long long>(record.ExceptionInformation[1]),
                   record.ExceptionInformation[0] == 0   ? "read"
                   : record.ExceptionInformation[0] == 1 ? "written"
                                                         : "executed");
    if (*platform::uncaughtException() != '\0')
        text.print("Exception: %s\n", platform::uncaughtException());
    text.print("Thread:    %lu\nProcess:   %lu\nCode at:   ", crash.thread, GetCurrentProcessId());
    printPlace(text, reinterpret_cast<DWORD64>(record.ExceptionAddress));
    printModules(text);
    printFrames(text, *crash.exception->ContextRecord);
}

// ---- writing it ----------------------------------------------------------------------------------

HANDLE newFile(const wchar_t* ending) {
    const SYSTEMTIME& time = crash.time;
    static wchar_t name[kLongestPath + 64];
    std::swprintf(name, kLongestPath + 64, L"%ls\\crash-%04u%02u%02u-%02u%02u%02u-%lu.%ls", known.folder,
                  time.wYear, time.wMonth, time.wDay, time.wHour, time.wMinute, time.wSecond,
                  GetCurrentProcessId(), ending);
    return CreateFileW(name, GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_NEW, FILE_ATTRIBUTE_NORMAL,
                       nullptr);
}

void writeDump() {
    if (known.writeDump == nullptr || crash.hasDump)
        return;
    crash.hasDump = true;
    const HANDLE file = newFile(L"dmp");
    if (file == INVALID_HANDLE_VALUE)
        return;
    MINIDUMP_EXCEPTION_INFORMATION about{};
    about.ThreadId = crash.thread;
    about.ExceptionPointers = crash.exception;
    about.ClientPointers = FALSE;
    const auto kind = static_cast<MINIDUMP_TYPE>(MiniDumpWithThreadInfo | MiniDumpWithUnloadedModules |
                                                 MiniDumpWithIndirectlyReferencedMemory);
    // What old versions of Windows do not know they refuse.
    if (known.writeDump(GetCurrentProcess(), GetCurrentProcessId(), file, kind, &about, nullptr, nullptr) ==
        FALSE)
        known.writeDump(GetCurrentProcess(), GetCurrentProcessId(), file, MiniDumpNormal, &about, nullptr,
                        nullptr);
    CloseHandle(file);
}

DWORD WINAPI waitAndWrite(void*) {
    WaitForSingleObject(known.crashed, INFINITE);
    GetSystemTime(&crash.time);
    CreateDirectoryW(known.folder, nullptr);
    // The text first: what a dump takes is up to somebody else's library, and may be more than is waited for.
    const HANDLE file = newFile(L"txt");
    writeText(file);
    if (file != INVALID_HANDLE_VALUE)
        CloseHandle(file);
    writeDump();
    SetEvent(known.written);
    return 0;
}

/// For the exceptions that nobody handled. Windows is told of them afterwards, and may start us again.
LONG WINAPI handleException(EXCEPTION_POINTERS* exception) {
    const EXCEPTION_RECORD& record = *exception->ExceptionRecord;
    // GCC looks itself for who catches; when it goes on after this it finds nobody, and aborts.
    const bool isFinal = (record.ExceptionFlags & EXCEPTION_NONCONTINUABLE) != 0;
    if (record.ExceptionCode == kThrownByGcc && !isFinal)
        return EXCEPTION_CONTINUE_EXECUTION;
    const DWORD self = GetCurrentThreadId();
    DWORD nobody = 0;
    if (crashingThread.compare_exchange_strong(nobody, self)) {
        crash.exception = exception;
        crash.thread = self;
        SetEvent(known.crashed);
        WaitForSingleObject(known.written, kPatience);
    } else if (self == known.writer) {
        // The stack that is walked for the text may be broken. There can be a dump yet.
        writeDump();
        SetEvent(known.written);
        Sleep(kPatience);
    } else if (nobody != self) {
        Sleep(kPatience);  // the process ends first
    }
    return filterBefore != nullptr ? filterBefore(exception) : EXCEPTION_CONTINUE_SEARCH;
}

/// Left to itself, abort() shows a box, which nobody answers, and ends with exit code 3 and not a word to
/// Windows.
void handleAbort(int) {
    RaiseException(kAborted, EXCEPTION_NONCONTINUABLE, 0, nullptr);
}

template <class Function>
Function ofSystem(const wchar_t* library, const char* name) {
    // From Windows' own folder only: not whatever has that name beside the program.
    const HMODULE module = LoadLibraryExW(library, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
    if (module == nullptr)
        return nullptr;
    return reinterpret_cast<Function>(reinterpret_cast<void*>(GetProcAddress(module, name)));
}

}  // namespace

bool platform::canTraceCrashes() {
    return true;
}

void platform::traceCrashes(const QString& folder, const QByteArray& program) {
    // Short or long as it has to be with a file's name behind it.
    const QString name = nativeName(folder + QStringLiteral("/crash-20240131-235959-4294967295.txt"));
    const QString path = name.left(name.lastIndexOf(QLatin1Char('\\')));
    if (path.size() < kLongestPath)
        known.folder[path.toWCharArray(known.folder)] = L'\0';
    qstrncpy(known.program, program.constData(), sizeof known.program);
    if (known.crashed != nullptr)
        return;
    known.writeDump = ofSystem<WriteDump>(L"dbghelp.dll", "MiniDumpWriteDump");
    known.listModules = ofSystem<ListModules>(L"psapi.dll", "EnumProcessModules");
    known.written = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    known.crashed = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    const HANDLE writer = CreateThread(nullptr, kWriterStack, waitAndWrite, nullptr,
                                       STACK_SIZE_PARAM_IS_A_RESERVATION, &known.writer);
    if (known.written == nullptr || known.crashed == nullptr || writer == nullptr) {
        qWarning("A crash will leave no trace: %s", qUtf8Printable(qt_error_string()));
        return;
    }
    CloseHandle(writer);
    if (known.writeDump == nullptr)
        qWarning("A crash will leave no minidump: there is no dbghelp.dll");
    const CrashStack keptForTheProcess;
    rememberUncaughtExceptions();
    std::signal(SIGABRT, handleAbort);
    filterBefore = SetUnhandledExceptionFilter(handleException);
}

platform::CrashStack::CrashStack() {
    ULONG size = kOverflowStack;
    SetThreadStackGuarantee(&size);
}

/// The thread keeps it.
platform::CrashStack::~CrashStack() = default;
