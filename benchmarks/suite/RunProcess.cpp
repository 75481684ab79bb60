// Runs a program and prints what it took: its exit code, milliseconds by the clock and on the
// processors, and the most memory in KiB. It is small, since memory that the parent of a program
// holds counts as the program's. Usage: OUTPUT ERRORS PROGRAM ARGUMENTS..., files for what the
// program prints.

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>

namespace {

void redirect(const char* path, int descriptor)
{
    const int file = ::open(path, O_CREAT | O_TRUNC | O_WRONLY, 0600);
    if (file < 0 || ::dup2(file, descriptor) < 0)
        ::_exit(126);
    ::close(file);
}

double milliseconds(const timeval& time)
{
    return double(time.tv_sec) * 1e3 + double(time.tv_usec) / 1e3;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc < 4)
        return 2;
    const auto start = std::chrono::steady_clock::now();
    const pid_t child = ::fork();
    if (child == 0) {
        redirect(argv[1], STDOUT_FILENO);
        redirect(argv[2], STDERR_FILENO);
        ::execvp(argv[3], argv + 3);
        ::_exit(127);
    }
    int status = 0;
    rusage usage{};
    if (child < 0 || ::wait4(child, &status, 0, &usage) != child)
        return 1;
    const std::chrono::duration<double, std::milli> wall = std::chrono::steady_clock::now() - start;
#ifdef __APPLE__
    const long peak = usage.ru_maxrss / 1024;
#else
    const long peak = usage.ru_maxrss;
#endif
    std::printf("%d %.3f %.3f %ld\n",
        WIFEXITED(status) ? WEXITSTATUS(status) : -1,
        wall.count(),
        milliseconds(usage.ru_utime) + milliseconds(usage.ru_stime),
        peak);
}
