// The services that tools use on their own, beside what they are measured against: the cipher and the digest beside
// OpenSSL's, and lookups in an INI file beside the bare pass over its lines. Both sides of a pair compute the same,
// which is checked before anything is measured.
#include <benchmark/benchmark.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <bitset>
#include <cstdint>
#include <string>
#include <vector>

#include "vo_string_cipher.h"
#include "vo_utility.h"
#include "z_ini_file.h"

#if defined(VOBASE_HAVE_OPENSSL)
#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/des.h>
#include <openssl/md5.h>
#endif

namespace
{

uint64_t Mixed(uint64_t ullValue)
{
    ullValue = (ullValue ^ (ullValue >> 30)) * 0xBF58476D1CE4E5B9ull;
    ullValue = (ullValue ^ (ullValue >> 27)) * 0x94D049BB133111EBull;
    return ullValue ^ (ullValue >> 31);
}

void Require(bool bHolds, const char* pszWhat)
{
    if (!bHolds)
    {
        fprintf(stderr, "services_benchmark: %s\n", pszWhat);
        abort();
    }
}

// ---------------------------------------------------------------------------------------------------------------------
// Cipher: a new key for each block
// ---------------------------------------------------------------------------------------------------------------------

constexpr size_t kKeys = 4096;

// Eight chars each, as the cipher takes them.
const std::vector<uint64_t>& Keys()
{
    static const std::vector<uint64_t> s_vecKey = []
    {
        std::vector<uint64_t> vecKey(kKeys);
        for (size_t i = 0; i < kKeys; ++i)
        {
            vecKey[i] = Mixed(i + 1);
        }
        return vecKey;
    }();
    return s_vecKey;
}

uint64_t EncryptOne(uint64_t ullKey, uint64_t ullBlock)
{
    char achKey[8];
    memcpy(achKey, &ullKey, sizeof(achKey));
    std::bitset<64> bitBlock(ullBlock);
    VOEncryptString(bitBlock, bitBlock, achKey);
    return bitBlock.to_ullong();
}

#if defined(VOBASE_HAVE_OPENSSL)
// Between the number that a block is and its bytes in the standard's order.
uint64_t Reversed(uint64_t ullValue)
{
    ullValue = (ullValue & 0x00FF00FF00FF00FFull) << 8 | (ullValue >> 8 & 0x00FF00FF00FF00FFull);
    ullValue = (ullValue & 0x0000FFFF0000FFFFull) << 16 | (ullValue >> 16 & 0x0000FFFF0000FFFFull);
    return ullValue << 32 | ullValue >> 32;
}

void StoreBigEndian(unsigned char* pbTo, uint64_t ullValue)
{
    ullValue = Reversed(ullValue);
    memcpy(pbTo, &ullValue, sizeof(ullValue));
}

uint64_t EncryptOneOpenSsl(uint64_t ullKey, uint64_t ullBlock)
{
    DES_cblock abKey;
    DES_cblock abBlock;
    DES_key_schedule schedule;
    StoreBigEndian(abKey, ullKey);
    StoreBigEndian(abBlock, ullBlock);
    DES_set_key_unchecked(&abKey, &schedule);
    DES_ecb_encrypt(&abBlock, &abBlock, &schedule, DES_ENCRYPT);
    uint64_t ullResult;
    memcpy(&ullResult, abBlock, sizeof(ullResult));
    return Reversed(ullResult);
}
#endif

template <typename Encrypt>
void EncryptMany(benchmark::State& state, const Encrypt& fnEncrypt)
{
    const std::vector<uint64_t>& keys = Keys();
    uint64_t ullSum = 0;
    size_t uKey = 0;
    for ([[maybe_unused]] auto step : state)
    {
        ullSum ^= fnEncrypt(keys[uKey], uKey);
        uKey = (uKey + 1) % kKeys;
    }
    benchmark::DoNotOptimize(ullSum);
}

void CipherNewKey(benchmark::State& state)
{
    EncryptMany(state, EncryptOne);
}
BENCHMARK(CipherNewKey);

#if defined(VOBASE_HAVE_OPENSSL)
void CipherNewKeyOpenSsl(benchmark::State& state)
{
    for (uint64_t i = 0; i < 1000; ++i)
    {
        Require(EncryptOne(Keys()[i], i) == EncryptOneOpenSsl(Keys()[i], i), "the two ciphers differ");
    }
    EncryptMany(state, EncryptOneOpenSsl);
}
BENCHMARK(CipherNewKeyOpenSsl);
#endif

// ---------------------------------------------------------------------------------------------------------------------
// Digest of one mebibyte
// ---------------------------------------------------------------------------------------------------------------------

typedef std::vector<unsigned char> Digest;

const std::vector<unsigned char>& Message()
{
    static const std::vector<unsigned char> s_vecMessage = []
    {
        std::vector<unsigned char> vecMessage(1 << 20);
        for (size_t i = 0; i < vecMessage.size(); ++i)
        {
            vecMessage[i] = static_cast<unsigned char>(Mixed(i));
        }
        return vecMessage;
    }();
    return s_vecMessage;
}

Digest Md5Of(const std::vector<unsigned char>& message)
{
    MD5State state;
    Digest vecDigest(16);
    md5_init(&state);
    md5_append(&state, message.data(), static_cast<int>(message.size()));
    md5_finish(&state, vecDigest.data());
    return vecDigest;
}

void Md5(benchmark::State& state)
{
    for ([[maybe_unused]] auto step : state)
    {
        benchmark::DoNotOptimize(Md5Of(Message()));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Message().size()));
}
BENCHMARK(Md5);

#if defined(VOBASE_HAVE_OPENSSL)
void Md5OpenSsl(benchmark::State& state)
{
    Digest vecDigest(16);
    MD5(Message().data(), Message().size(), vecDigest.data());
    Require(vecDigest == Md5Of(Message()), "the two digests differ");
    for ([[maybe_unused]] auto step : state)
    {
        MD5(Message().data(), Message().size(), vecDigest.data());
        benchmark::DoNotOptimize(vecDigest.data());
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * Message().size()));
}
BENCHMARK(Md5OpenSsl);
#endif

// ---------------------------------------------------------------------------------------------------------------------
// INI file: every key of 1,000 lines looked up once
// ---------------------------------------------------------------------------------------------------------------------

constexpr size_t kIniLines = 1000;
constexpr size_t kKeysOfSection = 49;

struct IniSample
{
    ZIniFile ini;
    std::vector<std::pair<std::string, std::string>> vecKey;

    IniSample()
    {
        for (size_t uLine = 0; uLine < kIniLines; ++uLine)
        {
            const std::string strSection = "section " + std::to_string(uLine / (kKeysOfSection + 1));
            if (uLine % (kKeysOfSection + 1) == 0)
            {
                ini.AddItem(tpSECTION, ("[" + strSection + "]").c_str());
                continue;
            }
            const std::string strKey = "Setting" + std::to_string(uLine);
            ini.AddItem(tpKEYVALUE, (strKey + "=" + std::to_string(uLine) + " ; what it is for").c_str());
            vecKey.emplace_back(strSection, strKey);
        }
    }
};

IniSample& Ini()
{
    static IniSample s_sample;
    return s_sample;
}

void IniSweep(benchmark::State& state)
{
    IniSample& sample = Ini();
    for ([[maybe_unused]] auto step : state)
    {
        long long llSum = 0;
        for (const auto& [strSection, strKey] : sample.vecKey)
        {
            llSum += sample.ini.ReadInt(strSection.c_str(), strKey.c_str(), -1);
        }
        benchmark::DoNotOptimize(llSum);
    }
    // What a lookup copies is the one line that it found; what it passes are all lines in front of it.
    double fPassed = 0;
    double fCopied = 0;
    for (const auto& [strSection, strKey] : sample.vecKey)
    {
        for (const ZENTRY* pEntry = sample.ini.SectionBegin(); pEntry != nullptr; pEntry = pEntry->pNext)
        {
            fPassed += static_cast<double>(strlen(pEntry->pszText));
            if (strncmp(pEntry->pszText, strKey.c_str(), strKey.size()) == 0 && pEntry->pszText[strKey.size()] == '=')
            {
                fCopied += static_cast<double>(strlen(pEntry->pszText));
                break;
            }
        }
    }
    state.counters["copied_share"] = fCopied / fPassed;
}
BENCHMARK(IniSweep);

// The same lines in the same order, each only touched.
void IniBarePass(benchmark::State& state)
{
    IniSample& sample = Ini();
    std::vector<const ZENTRY*> vecTarget;
    long long llExpected = 0;
    for (const auto& [strSection, strKey] : sample.vecKey)
    {
        tgEFIND find;
        Require(sample.ini.FindKey(strSection.c_str(), strKey.c_str(), &find) == 1, "a key isn't found");
        Require(find.szKey == strKey, "another key is found");
        vecTarget.push_back(find.pKeyEntry);
        llExpected += atoi(find.szValue);
    }
    Require(llExpected > 0, "the values are wrong");
    for ([[maybe_unused]] auto step : state)
    {
        unsigned int uSum = 0;
        for (const ZENTRY* pTarget : vecTarget)
        {
            for (const ZENTRY* pEntry = sample.ini.SectionBegin(); pEntry != pTarget; pEntry = pEntry->pNext)
            {
                uSum += static_cast<unsigned char>(pEntry->pszText[0]) + static_cast<unsigned char>(pEntry->cType);
            }
        }
        benchmark::DoNotOptimize(uSum);
    }
}
BENCHMARK(IniBarePass);

}  // namespace

BENCHMARK_MAIN();
