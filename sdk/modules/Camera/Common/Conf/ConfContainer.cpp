#include "ConfContainer.h"

#include <climits>
#include <sstream>

#include "CameraConfResult.h"
#include "Logger.h"

namespace orrindale::sdk {

namespace {

uint32_t loadLittleEndian32(const char* bytes)
{
    const auto* b = reinterpret_cast<const unsigned char*>(bytes);
    return static_cast<uint32_t>(b[0]) | static_cast<uint32_t>(b[1]) << 8 | static_cast<uint32_t>(b[2]) << 16 |
           static_cast<uint32_t>(b[3]) << 24;
}

void storeLittleEndian32(uint32_t value, char* bytes)
{
    for (int i = 0; i < 4; ++i) bytes[i] = static_cast<char>((value >> (8 * i)) & 0xFFu);
}

}  // namespace

bool ConfContainer::readHeader(const char* data, std::size_t size, Header& header)
{
    if (data == nullptr || size < kHeaderSize) return false;
    header.plainLength = static_cast<int32_t>(loadLittleEndian32(data));
    header.cipherLength = static_cast<int32_t>(loadLittleEndian32(data + 4));
    header.checksum = loadLittleEndian32(data + 8);
    return true;
}

std::string ConfContainer::headerProblem(const Header& header, std::size_t size)
{
    std::ostringstream why;
    const std::size_t present = size >= kHeaderSize ? size - kHeaderSize : 0;
    if (size < kHeaderSize)
        why << "configuration container has " << size << " bytes, shorter than its " << kHeaderSize << "-byte header";
    else if (header.cipherLength < 0)
        why << "configuration container cipher length " << header.cipherLength << " is negative";
    else if (header.cipherLength % static_cast<int32_t>(AesCbc256::kBlockSize) != 0)
        why << "configuration container cipher length " << header.cipherLength << " is not a multiple of "
            << AesCbc256::kBlockSize;
    else if (static_cast<std::size_t>(header.cipherLength) > present)
        why << "configuration container cipher length " << header.cipherLength << " exceeds the " << present
            << " bytes present";
    else if (header.plainLength < 0)
        why << "configuration container plaintext length " << header.plainLength << " is negative";
    else if (header.plainLength > header.cipherLength)
        why << "configuration container plaintext length " << header.plainLength << " exceeds cipher length "
            << header.cipherLength;
    return why.str();
}

uint32_t ConfContainer::checksum(const unsigned char* data, std::size_t size)
{
    uint32_t sum = 0;
    for (std::size_t i = 0; i < size; ++i) sum += data[i];
    return sum;
}

int ConfContainer::decrypt(std::vector<char>& file, const unsigned char (&key)[AesCbc256::kKeySize],
                           const unsigned char (&iv)[AesCbc256::kIvSize], std::size_t& textLength)
{
    Header header;
    readHeader(file.data(), file.size(), header);
    const std::string problem = headerProblem(header, file.size());
    if (!problem.empty()) {
        QV_LOGE(problem);
        return CONF_ERR_CONTAINER;
    }
    auto* cipher = reinterpret_cast<unsigned char*>(file.data()) + kHeaderSize;
    const auto cipherLength = static_cast<std::size_t>(header.cipherLength);
    if (checksum(cipher, cipherLength) != header.checksum) {
        QV_LOGI("File verification failed.");
        return CONF_ERR_VERIFY;
    }
    if (!AesCbc256::decrypt(cipher, cipherLength, key, iv, cipher)) return CONF_ERR_CIPHER;
    textLength = static_cast<std::size_t>(header.plainLength);
    return CONF_OK;
}

int ConfContainer::seal(const std::string& text, const unsigned char (&key)[AesCbc256::kKeySize],
                        const unsigned char (&iv)[AesCbc256::kIvSize], std::vector<char>& container)
{
    const std::size_t blocks = (text.size() + AesCbc256::kBlockSize - 1) / AesCbc256::kBlockSize;
    const std::size_t cipherLength = blocks * AesCbc256::kBlockSize;
    if (cipherLength > static_cast<std::size_t>(INT32_MAX)) {
        QV_LOGE("configuration text of ", text.size(), " bytes is too large for a container");
        return CONF_ERR_ARGUMENT;
    }
    std::vector<char> sealed(kHeaderSize + cipherLength, ' ');
    auto* cipher = reinterpret_cast<unsigned char*>(sealed.data()) + kHeaderSize;
    text.copy(reinterpret_cast<char*>(cipher), text.size());
    if (!AesCbc256::encrypt(cipher, cipherLength, key, iv, cipher)) return CONF_ERR_CIPHER;
    storeLittleEndian32(static_cast<uint32_t>(text.size()), sealed.data());
    storeLittleEndian32(static_cast<uint32_t>(cipherLength), sealed.data() + 4);
    storeLittleEndian32(checksum(cipher, cipherLength), sealed.data() + 8);
    container.swap(sealed);
    return CONF_OK;
}

}  // namespace orrindale::sdk
