/* failing_call REPORT list PROGRAM [ARGUMENT ...]               writes every system call of the program to REPORT
 * failing_call REPORT CALL:NUMBER:ERRNO PROGRAM [ARGUMENT ...]  has the NUMBER-th call of that kind fail with that
 * errno failing_call REPORT CALL:NUMBER:short PROGRAM [ARGUMENT ...]  has it transfer half of its bytes
 * failing_call REPORT CALL:NUMBER:kill PROGRAM [ARGUMENT ...]   kills the program instead of that call
 *
 * CALL is the number in <asm/unistd.h>. Calls are counted from 1 over all threads of the program, in the order in which
 * they are made, beginning after execve(2). Child processes are not counted. One call is hit per run: the counters of
 * strace(1) are those of a thread each, so that a fault there hits several, and a transfer cannot be shortened there
 * without losing bytes.
 *
 * A line of REPORT: CALL, NUMBER, and the path or file that it works on. The exit status is that of the program; where
 * a signal ended it, this process ends by the same one.
 *
 * x86-64 only. */
#define _GNU_SOURCE
#include <errno.h>
#include <signal.h>
#include <stddef.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/ptrace.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/user.h>
#include <sys/wait.h>
#include <unistd.h>

/* The header of the C library and that of the kernel cannot be included together; this is the kernel's structure. */
struct syscall_info {
    uint8_t op;
    uint8_t pad[3];
    uint32_t arch;
    uint64_t instruction_pointer;
    uint64_t stack_pointer;
    union {
        struct {
            uint64_t nr;
            uint64_t args[6];
        } entry;
        struct {
            int64_t rval;
            uint8_t is_error;
        } exit;
    } u;
};
enum { OP_ENTRY = 1, OP_EXIT = 2 };

enum { KILLED = -2, TRANSFER_SHORT = -1, LIST = 0, MAX_CALLS = 1024 };

/* Which argument of a call is a path, and which a descriptor; -1: none. Other calls are reported by number alone. */
static const struct {
    long number;
    int path;
    int descriptor;
} SUBJECTS[] = {
    {SYS_open, 0, -1},      {SYS_openat, 1, -1},     {SYS_stat, 0, -1},      {SYS_lstat, 0, -1},
    {SYS_newfstatat, 1, 0}, {SYS_statx, 1, 0},       {SYS_access, 0, -1},    {SYS_faccessat, 1, -1},
    {SYS_readlink, 0, -1},  {SYS_readlinkat, 1, 0},  {SYS_mkdir, 0, -1},     {SYS_mkdirat, 1, -1},
    {SYS_unlink, 0, -1},    {SYS_unlinkat, 1, 0},    {SYS_rmdir, 0, -1},     {SYS_rename, 1, -1},
    {SYS_renameat, 3, -1},  {SYS_renameat2, 3, -1},  {SYS_linkat, 3, -1},    {SYS_chmod, 0, -1},
    {SYS_statfs, 0, -1},    {SYS_fstatfs, -1, 0},    {SYS_mknod, 0, -1},     {SYS_mknodat, 1, -1},
    {SYS_read, -1, 0},      {SYS_pread64, -1, 0},    {SYS_write, -1, 0},     {SYS_pwrite64, -1, 0},
    {SYS_close, -1, 0},     {SYS_fstat, -1, 0},      {SYS_lseek, -1, 0},     {SYS_ioctl, -1, 0},
    {SYS_fcntl, -1, 0},     {SYS_fsync, -1, 0},      {SYS_fdatasync, -1, 0}, {SYS_syncfs, -1, 0},
    {SYS_flock, -1, 0},     {SYS_ftruncate, -1, 0},  {SYS_fallocate, -1, 0}, {SYS_fchmod, -1, 0},
    {SYS_fchown, -1, 0},    {SYS_getdents64, -1, 0}, {SYS_mmap, -1, 4},      {SYS_fchmodat, 1, -1},
};

static void fail(const char* what) {
    perror(what);
    exit(127);
}

static void print_path(FILE* report, pid_t thread, uint64_t address) {
    char text[4096];
    size_t length = 0;
    while (length + sizeof(long) <= sizeof text) {
        errno = 0;
        const long word = ptrace(PTRACE_PEEKDATA, thread, (void*)(uintptr_t)(address + length), NULL);
        if (errno != 0) break;
        memcpy(text + length, &word, sizeof word);
        const char* end = memchr(text + length, 0, sizeof word);
        length += sizeof word;
        if (end == NULL) continue;
        fputs(text, report);
        return;
    }
}

static void print_descriptor(FILE* report, pid_t thread, int descriptor) {
    char link[64];
    char path[4096];
    snprintf(link, sizeof link, "/proc/%d/fd/%d", (int)thread, descriptor);
    const ssize_t length = readlink(link, path, sizeof path - 1);
    if (length < 0) return;
    path[length] = 0;
    fputs(path, report);
}

static void print_call(FILE* report, pid_t thread, long number, const struct syscall_info* call) {
    fprintf(report, "%ld %ld ", (long)call->u.entry.nr, number);
    for (size_t i = 0; i < sizeof SUBJECTS / sizeof *SUBJECTS; ++i) {
        if ((long)call->u.entry.nr != SUBJECTS[i].number) continue;
        if (SUBJECTS[i].descriptor >= 0)
            print_descriptor(report, thread, (int)call->u.entry.args[SUBJECTS[i].descriptor]);
        if (SUBJECTS[i].path >= 0 && SUBJECTS[i].descriptor >= 0) fputc(' ', report);
        if (SUBJECTS[i].path >= 0) print_path(report, thread, call->u.entry.args[SUBJECTS[i].path]);
    }
    fputc('\n', report);
    fflush(report);
}

/* The third argument is the number of bytes in each call that is hit this way. A transfer of one byte stays whole. */
static void halve(pid_t thread) {
    struct user_regs_struct registers;
    if (ptrace(PTRACE_GETREGS, thread, NULL, &registers) != 0) fail("PTRACE_GETREGS");
    if (registers.rdx > 1) registers.rdx /= 2;
    if (ptrace(PTRACE_SETREGS, thread, NULL, &registers) != 0) fail("PTRACE_SETREGS");
}

/* No such call: the kernel does nothing, and the result is put in its place when it returns. */
static void skip(pid_t thread) {
    if (ptrace(PTRACE_POKEUSER, thread, (void*)offsetof(struct user_regs_struct, orig_rax), (void*)-1L) != 0)
        fail("PTRACE_POKEUSER");
}

static void set_result(pid_t thread, long result) {
    if (ptrace(PTRACE_POKEUSER, thread, (void*)offsetof(struct user_regs_struct, rax), (void*)result) != 0)
        fail("PTRACE_POKEUSER");
}

static pid_t start(char** command) {
    int ready[2];
    if (pipe(ready) != 0) fail("pipe");
    const pid_t child = fork();
    if (child < 0) fail("fork");
    if (child == 0) {
        char byte;
        close(ready[1]);
        if (read(ready[0], &byte, 1) != 1) _exit(127);
        close(ready[0]);
        execvp(command[0], command);
        fail(command[0]);
    }
    const long options = PTRACE_O_TRACESYSGOOD | PTRACE_O_TRACECLONE | PTRACE_O_TRACEEXEC | PTRACE_O_EXITKILL;
    if (ptrace(PTRACE_SEIZE, child, NULL, (void*)options) != 0) fail("PTRACE_SEIZE");
    if (ptrace(PTRACE_INTERRUPT, child, NULL, NULL) != 0) fail("PTRACE_INTERRUPT");
    if (write(ready[1], "", 1) != 1) fail("write");
    close(ready[0]);
    close(ready[1]);
    return child;
}

/* What is to fail, and how far the program is. */
static struct {
    FILE* report;
    long call;
    long target;
    int error;               /* an errno, KILLED, TRANSFER_SHORT or LIST */
    long numbers[MAX_CALLS]; /* how many of each call there were */
    pid_t failing;           /* the thread whose call fails and has not returned yet; 0: none */
    int is_counting;         /* execve(2) is over */
    int is_done;
} run;

static void on_entry(pid_t thread, const struct syscall_info* call) {
    if (call->u.entry.nr >= MAX_CALLS) return; /* no call of this kernel */
    const long number = ++run.numbers[call->u.entry.nr];
    const int is_target = (long)call->u.entry.nr == run.call && number == run.target;
    if (run.error == LIST || is_target) print_call(run.report, thread, number, call);
    if (run.error == LIST || !is_target) return;
    if (run.error == KILLED) {
        if (kill(thread, SIGKILL) != 0) fail("kill");
        run.is_done = 1;
    } else if (run.error == TRANSFER_SHORT) {
        halve(thread);
        run.is_done = 1;
    } else {
        /* Linux closes a descriptor also where close(2) reports an error. */
        if (call->u.entry.nr != SYS_close) skip(thread);
        run.failing = thread;
    }
}

static void on_exit_of_call(pid_t thread) {
    if (thread != run.failing) return;
    set_result(thread, -run.error);
    run.failing = 0;
    run.is_done = 1;
}

static void on_system_call(pid_t thread) {
    const enum __ptrace_request get_syscall_info = (enum __ptrace_request)0x420e; /* PTRACE_GET_SYSCALL_INFO */
    struct syscall_info call;
    memset(&call, 0, sizeof call);
    if (ptrace(get_syscall_info, thread, (void*)sizeof call, &call) <= 0) return; /* the thread died */
    if (call.op == OP_ENTRY && run.is_counting) on_entry(thread, &call);
    if (call.op == OP_EXIT) on_exit_of_call(thread);
}

/* Handles a stop of a thread; returns the signal that it is to receive. */
static int on_stop(pid_t thread, int status) {
    const int event = status >> 16;
    if (event == PTRACE_EVENT_EXEC) run.is_counting = 1;
    if (event != 0) return 0;
    if (WSTOPSIG(status) != (SIGTRAP | 0x80)) return WSTOPSIG(status);
    on_system_call(thread);
    return 0;
}

/* Ends this process as the program ended, without a second core file. */
static void end_by(int signal_number) {
    const struct rlimit no_core = {0, 0};
    (void)setrlimit(RLIMIT_CORE, &no_core);
    (void)signal(signal_number, SIG_DFL);
    (void)raise(signal_number);
}

/* Until the program ends; returns its exit status. */
static int follow(pid_t child) {
    for (;;) {
        int status = 0;
        const pid_t thread = waitpid(-1, &status, __WALL);
        if (thread < 0 && errno != EINTR) fail("waitpid");
        if (thread < 0) continue;
        if (WIFEXITED(status) || WIFSIGNALED(status)) {
            if (thread != child) continue;
            if (WIFSIGNALED(status)) end_by(WTERMSIG(status));
            return WEXITSTATUS(status);
        }
        const long signal_number = on_stop(thread, status);
        /* Once the call has failed the program runs at its own speed. ESRCH: the thread died meanwhile. */
        (void)ptrace(run.is_done ? PTRACE_CONT : PTRACE_SYSCALL, thread, NULL, (void*)signal_number);
    }
}

static int read_fault(const char* text) {
    if (strcmp(text, "list") == 0) return 1;
    char* end = NULL;
    run.call = strtol(text, &end, 10);
    if (end == text || *end != ':') return 0;
    const char* const target = end + 1;
    run.target = strtol(target, &end, 10);
    if (end == target || *end != ':') return 0;
    const char* const fault = end + 1;
    run.error = strcmp(fault, "short") == 0  ? TRANSFER_SHORT
                : strcmp(fault, "kill") == 0 ? KILLED
                                             : (int)strtol(fault, NULL, 10);
    return run.error != LIST;
}

int main(int argc, char** argv) {
    if (argc < 4 || !read_fault(argv[2])) {
        fputs("failing_call REPORT list|CALL:NUMBER:ERRNO|CALL:NUMBER:short|CALL:NUMBER:kill PROGRAM [ARGUMENT ...]\n",
              stderr);
        return 127;
    }
    run.report = fopen(argv[1], "w");
    if (run.report == NULL) fail(argv[1]);
    return follow(start(argv + 3));
}
