#include "QvProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "TargetProgram.h"

namespace qvtest {

std::string readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

namespace {

std::string scratchRoot()
{
    const char* root = std::getenv("ORR_TEST_TMP");
    return root != nullptr ? root : "/tmp";
}

}  // namespace

namespace {

std::vector<char*> pointers(const std::vector<std::string>& words)
{
    std::vector<char*> list;
    for (const std::string& word : words) list.push_back(const_cast<char*>(word.c_str()));
    list.push_back(nullptr);
    return list;
}

// Starts argv with its standard streams on files named after base; the child's pid.
pid_t start(const std::vector<std::string>& argv, const RunOptions& options, const std::string& base)
{
    {
        std::ofstream in(base + ".in", std::ios::binary);
        in << options.input;
    }
    // A program of this build that the kernel cannot start (a cross build's) starts under
    // the tests' emulator.
    std::vector<std::string> launched = orrtest::targetCommand(argv[0]);
    launched.insert(launched.end(), argv.begin() + 1, argv.end());
    const std::vector<char*> direct = pointers(argv), viaEmulator = pointers(launched);
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child != 0) return child;
    const int in = open((base + ".in").c_str(), O_RDONLY);
    const int out = open((base + ".out").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const int err = open((base + ".err").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    if (in < 0 || out < 0 || err < 0) _exit(126);
    dup2(in, STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    if (options.withoutEmulator) {
        unsetenv("LD_PRELOAD");
        unsetenv("UMOCKDEV_DIR");
    }
    execv(direct[0], direct.data());
    if (errno == ENOEXEC) execv(viaEmulator[0], viaEmulator.data());
    _exit(127);
}

Outcome finish(pid_t child, const std::string& base)
{
    Outcome run;
    int status = 0;
    while (waitpid(child, &status, 0) < 0) {
    }
    run.status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    run.out = readFile(base + ".out");
    run.err = readFile(base + ".err");
    for (const char* suffix : {".out", ".err", ".in"}) std::remove((base + suffix).c_str());
    return run;
}

std::string runBase()
{
    static int runs = 0;
    return scratchRoot() + "/qv-run-" + std::to_string(getpid()) + "-" + std::to_string(++runs);
}

}  // namespace

Outcome runProgram(const std::vector<std::string>& argv, const RunOptions& options)
{
    const std::string base = runBase();
    const pid_t child = start(argv, options, base);
    return child < 0 ? Outcome() : finish(child, base);
}

Background::Background(const std::vector<std::string>& argv, const RunOptions& options) : m_base(runBase())
{
    m_pid = start(argv, options, m_base);
}

Background::~Background()
{
    if (m_pid > 0) {
        kill(m_pid, SIGKILL);
        finish();
    }
}

bool Background::waitFor(const char* suffix, const std::string& text)
{
    for (int i = 0; i < 600; ++i) {
        if (readFile(m_base + suffix).find(text) != std::string::npos) return true;
        usleep(50 * 1000);
    }
    return false;
}

bool Background::waitForError(const std::string& text) { return waitFor(".err", text); }

bool Background::waitForOutput(const std::string& text) { return waitFor(".out", text); }

void Background::signal(int number)
{
    if (m_pid > 0) kill(m_pid, number);
}

Outcome Background::finish()
{
    if (m_pid <= 0) return Outcome();
    const pid_t pid = m_pid;
    m_pid = -1;
    return qvtest::finish(pid, m_base);
}

Outcome runQv(const std::vector<std::string>& args, const RunOptions& options)
{
    std::vector<std::string> argv{QV_BINARY};
    argv.insert(argv.end(), args.begin(), args.end());
    return runProgram(argv, options);
}

std::string scratchDirectory(const std::string& name)
{
    // Tests run side by side, each in a process of its own.
    const std::string dir = scratchRoot() + "/" + name + "-" + std::to_string(getpid());
    std::filesystem::remove_all(dir);
    std::filesystem::create_directories(dir);
    return dir;
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) result.push_back(line);
    return result;
}

bool contains(const std::string& text, const std::string& part) { return text.find(part) != std::string::npos; }

}  // namespace qvtest
