// The qv-conf command line: encrypt, decrypt and check camera configuration files.
#pragma once

#include <ostream>
#include <string>
#include <vector>

class QvConfCli {
public:
    static constexpr int kExitOk = 0;
    static constexpr int kExitFailure = 1;
    static constexpr int kExitUsage = 2;

    // out receives the results (decrypted JSON, the checked record), err the messages.
    QvConfCli(std::ostream& out, std::ostream& err) : m_out(out), m_err(err) {}

    // args without the program name.
    int run(const std::vector<std::string>& args);

private:
    int encrypt(const std::string& inPath, const std::string& outPath);
    int decrypt(const std::string& inPath);
    int check(const std::string& path, const std::string& moduleName);
    int usage(const std::string& problem);
    // Whole file into bytes; false (with a message) when it cannot be read.
    bool readFile(const std::string& path, std::vector<char>& bytes);

    std::ostream& m_out;
    std::ostream& m_err;
};
