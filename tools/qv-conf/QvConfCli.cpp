#include "QvConfCli.h"

#include <cjson/cJSON.h>
#include <openssl/crypto.h>

#include <cstring>
#include <fstream>

#include "AesCbc256.h"
#include "CameraConf.h"
#include "CameraConfResult.h"
#include "ConfAesKey.h"
#include "ConfContainer.h"
#include "ConfFileKind.h"
#include "ConfModuleCatalog.h"
#include "RegularFile.h"

using namespace orrindale::sdk;

namespace {

// The container key, wiped when it goes out of scope.
struct ScopedKey {
    unsigned char key[AesCbc256::kKeySize] = {};
    unsigned char iv[AesCbc256::kIvSize] = {};
    ScopedKey() { ConfAesKey::build(key, iv); }
    ~ScopedKey()
    {
        OPENSSL_cleanse(key, sizeof key);
        OPENSSL_cleanse(iv, sizeof iv);
    }
};

bool isJsonDocument(const std::string& text)
{
    if (std::memchr(text.data(), '\0', text.size()) != nullptr) return false;
    cJSON* root = cJSON_ParseWithOpts(text.c_str(), nullptr, 1);
    const bool ok = root != nullptr;
    cJSON_Delete(root);
    return ok;
}

}  // namespace

int QvConfCli::run(const std::vector<std::string>& args)
{
    if (args.empty()) return usage("");
    const std::string& command = args[0];
    if (command == "-h" || command == "--help" || command == "help") {
        usage("");
        return kExitOk;
    }
    if (command == "encrypt") {
        if (args.size() != 3) return usage("encrypt takes an input JSON file and an output file");
        return encrypt(args[1], args[2]);
    }
    if (command == "decrypt") {
        if (args.size() != 2) return usage("decrypt takes one container file");
        return decrypt(args[1]);
    }
    if (command == "check") {
        std::string path;
        std::string moduleName;
        for (std::size_t i = 1; i < args.size(); ++i) {
            if (args[i] == "--module" && i + 1 < args.size())
                moduleName = args[++i];
            else if (path.empty() && args[i].rfind("--", 0) != 0)
                path = args[i];
            else
                return usage("unexpected argument \"" + args[i] + "\"");
        }
        if (path.empty() || moduleName.empty()) return usage("check takes a file and --module NAME");
        return check(path, moduleName);
    }
    return usage("unknown command \"" + command + "\"");
}

int QvConfCli::encrypt(const std::string& inPath, const std::string& outPath)
{
    std::vector<char> bytes;
    if (!readFile(inPath, bytes)) return kExitFailure;
    const std::string text(bytes.begin(), bytes.end());
    if (!isJsonDocument(text)) {
        ConfContainer::Header header;
        const bool sealed = ConfContainer::readHeader(bytes.data(), bytes.size(), header) &&
                            ConfContainer::headerProblem(header, bytes.size()).empty();
        m_err << "qv-conf: " << inPath << (sealed ? " is already an encrypted container" : " is not a valid JSON document")
              << "; nothing was written\n";
        return kExitFailure;
    }
    std::vector<char> container;
    {
        const ScopedKey key;
        const int ret = ConfContainer::seal(text, key.key, key.iv, container);
        if (ret != CONF_OK) {
            m_err << "qv-conf: cannot encrypt " << inPath << ": " << cameraConfResultText(ret) << "\n";
            return kExitFailure;
        }
    }
    std::ofstream out(outPath, std::ios::binary | std::ios::trunc);
    out.write(container.data(), static_cast<std::streamsize>(container.size()));
    out.close();
    if (!out) {
        m_err << "qv-conf: cannot write " << outPath << "\n";
        return kExitFailure;
    }
    m_err << "qv-conf: wrote " << outPath << " (" << text.size() << " bytes of JSON in "
          << container.size() - ConfContainer::kHeaderSize << " cipher bytes)\n";
    return kExitOk;
}

int QvConfCli::decrypt(const std::string& inPath)
{
    std::vector<char> bytes;
    if (!readFile(inPath, bytes)) return kExitFailure;
    if (ConfFileKind::ofBytes(bytes.data(), bytes.size()) == ConfFileKind::PlainJson) {
        m_err << "qv-conf: " << inPath << " is plain JSON, not an encrypted container\n";
        return kExitFailure;
    }
    std::size_t textLength = 0;
    int ret = CONF_OK;
    {
        const ScopedKey key;
        ret = ConfContainer::decrypt(bytes, key.key, key.iv, textLength);
    }
    if (ret != CONF_OK) {
        m_err << "qv-conf: cannot decrypt " << inPath << ": " << cameraConfResultText(ret) << "\n";
        return kExitFailure;
    }
    const std::string text(bytes.data() + ConfContainer::kHeaderSize, textLength);
    if (!isJsonDocument(text)) {
        m_err << "qv-conf: " << inPath
              << " decrypts to something that is not JSON (was it encrypted with another key?)\n";
        return kExitFailure;
    }
    m_out << text;
    if (text.empty() || text.back() != '\n') m_out << '\n';
    return kExitOk;
}

int QvConfCli::check(const std::string& path, const std::string& moduleName)
{
    if (!ConfModuleCatalog::contains(moduleName)) {
        m_err << "qv-conf: unknown module \"" << moduleName << "\"; known modules:";
        for (const auto& name : ConfModuleCatalog::names()) m_err << ' ' << name;
        m_err << "\n";
        return kExitUsage;
    }
    std::vector<char> bytes;
    if (!readFile(path, bytes)) return kExitFailure;  // a FIFO or a directory is refused before any read
    const auto result = ConfModuleCatalog::check(path, moduleName);
    if (result.code != CONF_OK) {
        m_err << "qv-conf: " << path << " is not accepted for " << moduleName << ": "
              << cameraConfResultText(result.code) << " (code " << result.code
              << "); a camera given this file does not open\n";
        return kExitFailure;
    }
    m_out << moduleName << " settings from " << path << ":\n";
    for (const auto& [key, value] : result.values) m_out << "  " << key << " = " << value << "\n";
    for (const auto& warning : result.warnings) m_err << "qv-conf: warning: " << warning << "\n";
    return kExitOk;
}

int QvConfCli::usage(const std::string& problem)
{
    if (!problem.empty()) m_err << "qv-conf: " << problem << "\n";
    m_err << "usage:\n"
             "  qv-conf encrypt IN.json OUT.bin      encrypt a JSON configuration into a container\n"
             "  qv-conf decrypt IN.bin               print the JSON inside a container\n"
             "  qv-conf check FILE --module NAME     show the settings a camera would take from FILE\n"
             "modules:";
    for (const auto& name : ConfModuleCatalog::names()) m_err << ' ' << name;
    m_err << "\n";
    return kExitUsage;
}

bool QvConfCli::readFile(const std::string& path, std::vector<char>& bytes)
{
    RegularFile file;
    const RegularFile::Status opened = file.open(path);
    if (opened != RegularFile::Status::Ok) {
        m_err << "qv-conf: " << (opened == RegularFile::Status::NotRegular ? path + " is not a regular file"
                                                                          : "cannot open " + path)
              << "\n";
        return false;
    }
    if (file.size() > CameraConf::kMaxFileSize) {
        m_err << "qv-conf: " << path << " is larger than " << CameraConf::kMaxFileSize << " bytes\n";
        return false;
    }
    if (file.read(bytes, CameraConf::kMaxFileSize) != RegularFile::Status::Ok) {
        m_err << "qv-conf: cannot read " << path << "\n";
        return false;
    }
    return true;
}
