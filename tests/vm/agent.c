/* The guest's side of the test bench: reads requests from a virtual serial port, runs them one after the other, and
 * sends back what they left. One process a port, so that the host can have several commands under way.
 *
 * All numbers are 32 bits, little endian.
 *   request: number of arguments; each argument as length and bytes; standard input as length and bytes
 *   answer:  exit status (128 + signal number for a killed process); standard output; standard error; as above
 *
 * Called as "agent hold NODE" it is the program that keeps a block device to itself, until it is killed.
 */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

struct bytes {
    char* data;
    size_t size;
};

static void fail(const char* what) {
    perror(what);
    exit(1);
}

static void read_all(int fd, void* data, size_t size) {
    char* at = data;
    while (size > 0) {
        const ssize_t n = read(fd, at, size);
        if (n > 0) {
            at += n;
            size -= (size_t)n;
        } else if (n == 0) {
            usleep(10000); /* the host has not opened its end yet */
        } else if (errno != EINTR && errno != EAGAIN) {
            fail("read");
        }
    }
}

static void write_all(int fd, const void* data, size_t size) {
    const char* at = data;
    while (size > 0) {
        const ssize_t n = write(fd, at, size);
        if (n < 0 && errno != EINTR && errno != EAGAIN) fail("write");
        if (n > 0) {
            at += n;
            size -= (size_t)n;
        }
    }
}

static uint32_t read_number(int fd) {
    uint32_t value;
    read_all(fd, &value, sizeof value);
    return value;
}

static char* read_text(int fd, size_t* size) {
    *size = read_number(fd);
    char* text = malloc(*size + 1);
    if (text == NULL) fail("malloc");
    read_all(fd, text, *size);
    text[*size] = '\0';
    return text;
}

static void write_bytes(int fd, const struct bytes* bytes) {
    const uint32_t size = (uint32_t)bytes->size;
    write_all(fd, &size, sizeof size);
    write_all(fd, bytes->data, bytes->size);
}

/* Moves what is there from a pipe to the buffer; 0 at its end. */
static int collect(int fd, struct bytes* bytes) {
    char piece[65536];
    const ssize_t n = read(fd, piece, sizeof piece);
    if (n < 0) return errno == EINTR;
    if (n == 0) return 0;
    bytes->data = realloc(bytes->data, bytes->size + (size_t)n);
    if (bytes->data == NULL) fail("realloc");
    memcpy(bytes->data + bytes->size, piece, (size_t)n);
    bytes->size += (size_t)n;
    return 1;
}

static int run(char** arguments, const char* input, size_t input_size, struct bytes* out, struct bytes* err) {
    int in_pipe[2], out_pipe[2], err_pipe[2];
    if (pipe2(in_pipe, O_CLOEXEC) || pipe2(out_pipe, O_CLOEXEC) || pipe2(err_pipe, O_CLOEXEC)) fail("pipe2");
    const pid_t pid = fork();
    if (pid < 0) fail("fork");
    if (pid == 0) {
        dup2(in_pipe[0], 0);
        dup2(out_pipe[1], 1);
        dup2(err_pipe[1], 2);
        signal(SIGPIPE, SIG_DFL);
        execvp(arguments[0], arguments);
        perror(arguments[0]);
        _exit(127);
    }
    close(in_pipe[0]);
    close(out_pipe[1]);
    close(err_pipe[1]);
    struct pollfd fds[3] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}, {in_pipe[1], POLLOUT, 0}};
    while (fds[0].fd >= 0 || fds[1].fd >= 0) {
        if (input_size == 0 && fds[2].fd >= 0) {
            close(fds[2].fd);
            fds[2].fd = -1;
        }
        if (poll(fds, 3, -1) < 0 && errno != EINTR) fail("poll");
        if (fds[2].fd >= 0 && fds[2].revents) {
            const ssize_t n = write(fds[2].fd, input, input_size < 4096 ? input_size : 4096);
            if (n < 0) {
                input_size = 0; /* the command does not want it */
            } else {
                input += n;
                input_size -= (size_t)n;
            }
        }
        if (fds[0].fd >= 0 && fds[0].revents && !collect(fds[0].fd, out)) fds[0].fd = -1;
        if (fds[1].fd >= 0 && fds[1].revents && !collect(fds[1].fd, err)) fds[1].fd = -1;
    }
    if (fds[2].fd >= 0) close(fds[2].fd);
    close(out_pipe[0]);
    close(err_pipe[0]);
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) continue;
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

static _Noreturn void hold(const char* node) {
    if (open(node, O_RDONLY | O_EXCL | O_CLOEXEC) < 0) fail(node);
    write_all(1, "held\n", 5);
    for (;;) pause();
}

int main(int argc, char** argv) {
    if (argc == 3 && strcmp(argv[1], "hold") == 0) hold(argv[2]);
    if (argc != 2) return 2;
    signal(SIGPIPE, SIG_IGN);
    const int port = open(argv[1], O_RDWR | O_CLOEXEC);
    if (port < 0) fail(argv[1]);
    for (;;) {
        const uint32_t count = read_number(port);
        char** arguments = calloc(count + 1, sizeof *arguments);
        if (arguments == NULL) fail("calloc");
        size_t size = 0;
        for (uint32_t i = 0; i < count; ++i) arguments[i] = read_text(port, &size);
        char* input = read_text(port, &size);
        struct bytes out = {NULL, 0}, err = {NULL, 0};
        const uint32_t status = (uint32_t)run(arguments, input, size, &out, &err);
        write_all(port, &status, sizeof status);
        write_bytes(port, &out);
        write_bytes(port, &err);
        for (uint32_t i = 0; i < count; ++i) free(arguments[i]);
        free(arguments);
        free(input);
        free(out.data);
        free(err.data);
    }
}
