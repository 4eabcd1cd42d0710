#include "WebService/Storage/PasswordHash.h"

#include "WebService/Common/Descriptor.h"

#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <sys/random.h>

#include <array>
#include <cstdint>
#include <span>
#include <stdexcept>
#include <vector>

namespace webservice {

namespace {

constexpr std::string_view method = "scrypt-4096-8-1$";
constexpr std::uint64_t cost = 4096;
constexpr std::uint64_t blockSize = 8;
constexpr std::uint64_t parallelism = 1;
constexpr std::uint64_t maxMemory = 16 << 20;
constexpr std::size_t saltSize = 16;

std::string digitsOf(std::span<const std::uint8_t> bytes) {
    constexpr std::string_view digits = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : bytes) {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

/// The salt is used as its digits.
std::string hashWith(std::string_view salt, std::string_view password) {
    std::array<std::uint8_t, 32> key{};
    const auto* saltBytes = reinterpret_cast<const unsigned char*>(salt.data());
    if (EVP_PBE_scrypt(password.data(), password.size(), saltBytes, salt.size(), cost, blockSize, parallelism,
                       maxMemory, key.data(), key.size()) != 1)
        throw std::runtime_error("a password cannot be hashed");
    return std::string(method).append(salt).append("$").append(digitsOf(key));
}

} // namespace

std::string randomDigits(std::size_t bytes) {
    std::vector<std::uint8_t> random(bytes);
    if (::getrandom(random.data(), random.size(), 0) != static_cast<ssize_t>(random.size()))
        throwErrno("cannot get random bytes");
    return digitsOf(random);
}

std::string passwordHash(std::string_view password) {
    return hashWith(randomDigits(saltSize), password);
}

bool isPasswordOf(std::string_view hash, std::string_view password) {
    if (!hash.starts_with(method))
        return false;
    const std::string_view salt = hash.substr(method.size(), 2 * saltSize);
    const std::string expected = hashWith(salt, password);
    return hash.size() == expected.size() && CRYPTO_memcmp(hash.data(), expected.data(), hash.size()) == 0;
}

} // namespace webservice
