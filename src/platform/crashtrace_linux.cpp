// SPDX-License-Identifier: Apache-2.0
#include "platform/crashtrace.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <dlfcn.h>
#include <elf.h>
#include <execinfo.h>
#include <fcntl.h>
#include <link.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <ucontext.h>
#include <unistd.h>

#include "platform/uncaught.h"

// From handleCrash() on there is nothing but what a signal handler may call: no memory is taken, no lock of
// ours or of the C library's heap. Finding the frames and their names looks at the list of loaded libraries,
// which another thread may just be changing; so what matters most is written before, and an alarm is set.

namespace {

constexpr int kCrashSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE, SIGABRT};
constexpr unsigned kPatience = 10;  // s for a trace
constexpr size_t kStackSize = size_t{128} << 10;
constexpr int kMostFrames = 128;

/// What is known before a crash. Written by traceCrashes() before the handlers look.
struct Known {
    char folder[PATH_MAX];
    char program[256];
    char buildId[2 * 64 + 1];
};
Known known;

/// What a trace is at.
enum class Stage { Begin, Frames, Modules, Told };

std::atomic<long> crashingThread{0};  // who writes the trace; the first that crashes
std::atomic<int> crashSignal{0};
std::atomic<int> traceFile{-1};
std::atomic<Stage> stage{Stage::Begin};
char traceName[PATH_MAX + 64];

// ---- text, without memory ------------------------------------------------------------------------

/// Text for file descriptors: standard error and, unless it could not be made, the file. What does not fit is
/// written first.
class Text {
public:
    explicit Text(int file) : descriptor(file) {}
    ~Text() { flush(); }
    Text(const Text&) = delete;
    Text& operator=(const Text&) = delete;

    Text& operator<<(const char* piece) {
        append(piece, strlen(piece));
        return *this;
    }
    Text& number(int64_t value) {
        if (value < 0)
            append("-", 1);
        return digits(value < 0 ? 0 - static_cast<uint64_t>(value) : static_cast<uint64_t>(value), 10, 1);
    }
    /// With leading zeros.
    Text& padded(int value, int width) { return digits(static_cast<uint64_t>(value), 10, width); }
    Text& address(uintptr_t value) {
        append("0x", 2);
        return digits(value, 16, 1);
    }
    void append(const char* piece, size_t size) {
        while (size > 0) {
            if (length == sizeof buffer)
                flush();
            const size_t part = std::min(size, sizeof buffer - length);
            memcpy(buffer + length, piece, part);
            length += part;
            piece += part;
            size -= part;
        }
    }
    void flush() {
        for (size_t done = 0; done < length;) {
            const ssize_t written = write(descriptor, buffer + done, length - done);
            if (written < 0 && errno == EINTR)
                continue;
            if (written <= 0)
                break;
            done += static_cast<size_t>(written);
        }
        length = 0;
    }

private:
    Text& digits(uint64_t value, unsigned base, int width) {
        char text[24];
        int start = sizeof text;
        do {
            text[--start] = "0123456789abcdef"[value % base];
            value /= base;
            --width;
        } while (value > 0 || width > 0);
        append(text + start, sizeof text - static_cast<size_t>(start));
        return *this;
    }

    const int descriptor;
    char buffer[512] = {};
    size_t length = 0;
};

/// A name, put together in place.
class Name {
public:
    Name(char* target, size_t size) : text(target), limit(size) { text[0] = '\0'; }
    Name& operator<<(const char* piece) {
        for (; *piece != '\0' && length + 1 < limit; ++piece)
            text[length++] = *piece;
        text[length] = '\0';
        return *this;
    }
    Name& number(int64_t value, int width) {
        char digits[24];
        int start = sizeof digits;
        digits[--start] = '\0';
        do {
            digits[--start] = static_cast<char>('0' + value % 10);
            value /= 10;
            --width;
        } while (value > 0 || width > 0);
        return *this << digits + start;
    }

private:
    char* const text;
    const size_t limit;
    size_t length = 0;
};

struct Moment {
    int year, month, day, hour, minute, second;
};

/// UTC: what a zone's clocks show may go back, and would be asked of functions that lock.
Moment now() {
    timespec time{};
    clock_gettime(CLOCK_REALTIME, &time);
    const int64_t seconds = int64_t{time.tv_sec};
    const auto ofDay = static_cast<int>((seconds % 86400 + 86400) % 86400);
    int64_t days = (seconds - ofDay) / 86400;  // since 1970
    const auto isLeap = [](int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; };
    Moment moment{1970, 1, 1, ofDay / 3600, ofDay / 60 % 60, ofDay % 60};
    for (int length = 365; days >= length; length = isLeap(moment.year) ? 366 : 365) {
        days -= length;
        ++moment.year;
    }
    const int lengths[] = {31, isLeap(moment.year) ? 29 : 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    while (moment.month < 12 && days >= lengths[moment.month - 1])
        days -= lengths[moment.month++ - 1];
    moment.day += static_cast<int>(std::max(days, int64_t{0}));
    return moment;
}

const char* nameOf(int number) {
    switch (number) {
        case SIGSEGV:
            return "SIGSEGV";
        case SIGBUS:
            return "SIGBUS";
        case SIGILL:
            return "SIGILL";
        case SIGFPE:
            return "SIGFPE";
        case SIGABRT:
            return "SIGABRT";
        default:
            return "signal";
    }
}

// ---- the parts of a trace ------------------------------------------------------------------------

struct Registers {
    uintptr_t code = 0;   // where it happened
    uintptr_t stack = 0;  // 0: not known on this processor
};

Registers registersOf(const void* context) {
    Registers registers;
    const auto& machine = static_cast<const ucontext_t*>(context)->uc_mcontext;
#if defined(__x86_64__)
    registers.code = static_cast<uintptr_t>(machine.gregs[REG_RIP]);
    registers.stack = static_cast<uintptr_t>(machine.gregs[REG_RSP]);
#elif defined(__aarch64__)
    registers.code = machine.pc;
    registers.stack = machine.sp;
#else
    Q_UNUSED(machine)
#endif
    return registers;
}

void openFile(const Moment& moment) {
    mkdir(known.folder, 0777);
    Name name(traceName, sizeof traceName);
    name << known.folder << "/crash-";
    name.number(moment.year, 4).number(moment.month, 2).number(moment.day, 2) << "-";
    name.number(moment.hour, 2).number(moment.minute, 2).number(moment.second, 2) << "-";
    name.number(getpid(), 1) << ".txt";
    traceFile = open(traceName, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
}

void writeHead(int file, const Moment& moment, int number, const siginfo_t& info,
               const Registers& registers) {
    Text text(file);
    text << known.program << " crashed: " << nameOf(number) << " (";
    text.number(number) << ")\n";
    text << "Time:      ";
    text.padded(moment.year, 4) << "-";
    text.padded(moment.month, 2) << "-";
    text.padded(moment.day, 2) << " ";
    text.padded(moment.hour, 2) << ":";
    text.padded(moment.minute, 2) << ":";
    text.padded(moment.second, 2) << " UTC\n";
    if (info.si_code > 0) {
        text << "Address:   ";
        text.address(reinterpret_cast<uintptr_t>(info.si_addr));
        text << (number != SIGSEGV             ? ""
                 : info.si_code == SEGV_MAPERR ? ", where there is no memory"
                 : info.si_code == SEGV_ACCERR ? ", which may not be accessed so"
                                               : "");
        text << "\n";
    } else {
        text << "Sent by:   process ";
        text.number(info.si_pid) << (info.si_pid == getpid() ? ", itself\n" : "\n");
    }
    if (*platform::uncaughtException() != '\0')
        text << "Exception: " << platform::uncaughtException() << "\n";
    char thread[17] = {};
    prctl(PR_GET_NAME, thread);
    text << "Thread:    ";
    text.number(syscall(SYS_gettid)) << " " << thread << "\n";
    text << "Process:   ";
    text.number(getpid()) << "\n";
    text << "Code at:   ";
    text.address(registers.code) << ", stack at ";
    text.address(registers.stack) << "\n";
    text << "Build ID:  " << known.buildId << "\n";
}

/// What lies at an address: module and offset in it, as addr2line wants them, and the function as far as the
/// module tells.
void writePlace(Text& text, uintptr_t address) {
    text.address(address);
    Dl_info place{};
    if (dladdr(reinterpret_cast<void*>(address), &place) != 0 && place.dli_fname != nullptr) {
        text << "  " << place.dli_fname << "+";
        text.address(address - reinterpret_cast<uintptr_t>(place.dli_fbase));
        if (place.dli_sname != nullptr) {
            text << "  " << place.dli_sname << "+";
            text.address(address - reinterpret_cast<uintptr_t>(place.dli_saddr));
        }
    }
    text << "\n";
    text.flush();
}

void writeFrames(int file, void* const* frames, int count, const Registers& registers, bool isNowhere) {
    Text text(file);
    text << "\nFrames, the innermost first; but for that one, where each returns to:\n";
    text.flush();
    for (int i = 0; i < count; ++i) {
        text << "#";
        text.number(i) << (i < 10 ? "  " : " ");
        writePlace(text, reinterpret_cast<uintptr_t>(frames[i]));
    }
    // Nobody finds a way back from where there is no code. A call left it on the stack.
    if (isNowhere && registers.stack != 0) {
        text << "Called from, perhaps: ";
        text.flush();
        uintptr_t caller = 0;
        memcpy(&caller, reinterpret_cast<const void*>(registers.stack), sizeof caller);
        writePlace(text, caller);
    }
}

void writeModules(int file) {
    Text text(file);
    text << "\nMemory:\n";
    const int maps = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (maps < 0)
        return;
    char piece[1024];
    for (ssize_t size = 0; (size = read(maps, piece, sizeof piece)) > 0;)
        text.append(piece, static_cast<size_t>(size));
    close(maps);
}

// ---- the end -------------------------------------------------------------------------------------

[[noreturn]] void endBy(int number) {
    struct sigaction usual {};
    usual.sa_handler = SIG_DFL;
    sigaction(number, &usual, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, number);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    syscall(SYS_tgkill, getpid(), syscall(SYS_gettid), number);
    _exit(128 + number);
}

/// The trace itself crashed or hangs: what can still be had, and the end.
[[noreturn]] void giveUp(const char* reason) {
    const Stage reached = stage.exchange(Stage::Told);
    const int file = traceFile;
    if (file >= 0 && (reached == Stage::Begin || reached == Stage::Frames)) {
        alarm(kPatience);
        Text(file) << reason;
        writeModules(file);
        Text(STDERR_FILENO) << known.program << " crashed: " << nameOf(crashSignal) << "; " << traceName
                            << "\n";
    }
    endBy(crashSignal);
}

void handleAlarm(int) {
    giveUp("\nThe trace was cut off here: it took too long.\n");
}

void limitTime() {
    struct sigaction action {};
    action.sa_handler = handleAlarm;
    action.sa_flags = SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    sigaction(SIGALRM, &action, nullptr);
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGALRM);
    pthread_sigmask(SIG_UNBLOCK, &set, nullptr);
    alarm(kPatience);
}

void writeTrace(int number, const siginfo_t& info, const Registers& registers) {
    const Moment moment = now();
    openFile(moment);
    const int file = traceFile;
    if (file >= 0)
        writeHead(file, moment, number, info, registers);
    stage = Stage::Frames;
    void* all[kMostFrames];
    void* const* frames = all;
    int count = backtrace(all, kMostFrames);
    // Without those of the handler.
    void* const* const innermost = std::find(all, all + count, reinterpret_cast<void*>(registers.code));
    if (innermost != all + count) {
        count -= static_cast<int>(innermost - frames);
        frames = innermost;
    }
    const bool isNowhere =
        number == SIGSEGV && info.si_code > 0 && reinterpret_cast<uintptr_t>(info.si_addr) == registers.code;
    if (file >= 0) {
        writeFrames(file, frames, count, registers, isNowhere);
        stage = Stage::Modules;
        writeModules(file);
        close(file);
    }
    // Whoever reads it may be gone, or not read at all.
    stage = Stage::Told;
    writeHead(STDERR_FILENO, moment, number, info, registers);
    writeFrames(STDERR_FILENO, frames, count, registers, isNowhere);
    if (file >= 0)
        Text(STDERR_FILENO) << "Written to " << traceName << "\n";
}

void handleCrash(int number, siginfo_t* info, void* context) {
    const long self = syscall(SYS_gettid);
    long nobody = 0;
    if (!crashingThread.compare_exchange_strong(nobody, self)) {
        if (nobody == self)
            giveUp("\nThe trace was cut off here: it crashed itself.\n");
        for (;;)
            pause();  // the other thread ends all
    }
    crashSignal = number;
    limitTime();
    writeTrace(number, *info, registersOf(context));
    endBy(number);
}

// ---- before --------------------------------------------------------------------------------------

/// Of the program itself, the first of the modules.
int findBuildId(dl_phdr_info* module, size_t, void*) {
    for (int i = 0; i < module->dlpi_phnum; ++i) {
        const auto& header = module->dlpi_phdr[i];
        if (header.p_type != PT_NOTE)
            continue;
        const char* at = reinterpret_cast<const char*>(module->dlpi_addr + header.p_vaddr);
        const char* const end = at + header.p_memsz;
        const auto padded = [](size_t length) { return (length + 3) / 4 * 4; };
        while (at + sizeof(ElfW(Nhdr)) <= end) {
            const auto* note = reinterpret_cast<const ElfW(Nhdr)*>(at);
            const char* const content = at + sizeof *note + padded(note->n_namesz);
            if (note->n_type == NT_GNU_BUILD_ID && note->n_namesz == sizeof "GNU") {
                const QByteArray id =
                    QByteArray::fromRawData(content, static_cast<int>(note->n_descsz)).toHex();
                qstrncpy(known.buildId, id.constData(), sizeof known.buildId);
                return 1;
            }
            at = content + padded(note->n_descsz);
        }
    }
    return 1;
}

void installHandlers() {
    struct sigaction action {};
    action.sa_sigaction = handleCrash;
    // The trace may crash itself, and be told so.
    action.sa_flags = SA_SIGINFO | SA_ONSTACK | SA_NODEFER;
    // Nothing else comes between: no end in order, no log that nobody reads any more.
    sigfillset(&action.sa_mask);
    sigdelset(&action.sa_mask, SIGALRM);
    for (const int number : kCrashSignals)
        sigdelset(&action.sa_mask, number);
    for (const int number : kCrashSignals)
        sigaction(number, &action, nullptr);
}

}  // namespace

bool platform::canTraceCrashes() {
    return true;
}

void platform::traceCrashes(const QString& folder, const QByteArray& program) {
    qstrncpy(known.folder, QFile::encodeName(QFileInfo(folder).absoluteFilePath()).constData(),
             sizeof known.folder);
    qstrncpy(known.program, program.constData(), sizeof known.program);
    dl_iterate_phdr(findBuildId, nullptr);
    // The first time it loads what it needs.
    void* frame = nullptr;
    backtrace(&frame, 1);
    // For as long as the process lives.
    static const CrashStack* const stack = new CrashStack;
    Q_UNUSED(stack)
    rememberUncaughtExceptions();
    installHandlers();
}

platform::CrashStack::CrashStack() {
    stack_t present{};
    if (sigaltstack(nullptr, &present) != 0 || (present.ss_flags & SS_DISABLE) == 0)
        return;
    // Below it a page that nobody may touch.
    const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    void* const all = mmap(nullptr, page + kStackSize, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED)
        return;
    stack_t own{};
    own.ss_sp = static_cast<char*>(all) + page;
    own.ss_size = kStackSize;
    if (mprotect(own.ss_sp, kStackSize, PROT_READ | PROT_WRITE) == 0 && sigaltstack(&own, nullptr) == 0)
        memory = all;
    else
        munmap(all, page + kStackSize);
}

platform::CrashStack::~CrashStack() {
    if (memory == nullptr)
        return;
    stack_t none{};
    none.ss_flags = SS_DISABLE;
    sigaltstack(&none, nullptr);
    munmap(memory, static_cast<size_t>(sysconf(_SC_PAGESIZE)) + kStackSize);
}
