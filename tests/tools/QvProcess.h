// Runs qv (or another program) as a child process, the way a person or a script does,
// and keeps its exit status, standard output and standard error apart.
#pragma once

#include <string>
#include <vector>

namespace qvtest {

struct Outcome {
    int status = -1;  // exit status; 128 + N when killed by signal N
    std::string out;
    std::string err;
    // Both streams, for failure messages.
    std::string both() const { return "--- stdout:\n" + out + "--- stderr:\n" + err; }
};

struct RunOptions {
    // Drop the emulator's preload and test-bed directory from the child's environment
    // (for programs that must not see the emulated devices, such as Python).
    bool withoutEmulator = false;
    std::string input;  // written to the child's standard input
};

Outcome runProgram(const std::vector<std::string>& argv, const RunOptions& options = {});

// A program left running while the test does something else.
class Background {
public:
    explicit Background(const std::vector<std::string>& argv, const RunOptions& options = {});
    ~Background();
    // Waits (up to a generous limit) until the program has written `text` on standard error
    // (standard output).
    bool waitForError(const std::string& text);
    bool waitForOutput(const std::string& text);
    void signal(int number);
    Outcome finish();

private:
    bool waitFor(const char* suffix, const std::string& text);

    int m_pid = -1;
    std::string m_base;
};
Outcome runQv(const std::vector<std::string>& args, const RunOptions& options = {});

// A fresh, empty directory of this process under the test build's scratch directory.
std::string scratchDirectory(const std::string& name);
std::vector<std::string> lines(const std::string& text);
std::string readFile(const std::string& path);  // empty when it cannot be read
bool contains(const std::string& text, const std::string& part);

}  // namespace qvtest
