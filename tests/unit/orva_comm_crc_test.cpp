// The checksums: check values, tables, and the fast forms against loops over the exported tables as they are. Every
// way to compute that this processor has is forced in turn.
#include <array>
#include <cstring>
#include <random>
#include <thread>
#include <vector>

#include "../../src/comm/crc_engine.h"
#include "orva_comm.h"
#include "platform_double.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kDigits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};

// The four functions as plain loops over the exported tables.
std::uint16_t plain_crc16(const std::uint8_t *data, std::size_t length, std::uint16_t start) {
    std::uint32_t r = start;
    for (std::size_t i = 0; i < length; ++i) {
        r = (g_ausCRC16Table[(data[i] ^ (r >> 8)) & 0xFF] ^ (r << 8)) & 0xFFFF;
    }
    return static_cast<std::uint16_t>(r);
}

std::uint16_t plain_augmented(const std::uint8_t *data, std::size_t length, std::uint16_t start) {
    std::uint32_t r = start;
    for (std::size_t i = 0; i < length; ++i) {
        r = ((r << 8) | data[i]) ^ g_ausCRC16Table[(r >> 8) & 0xFF];
    }
    return static_cast<std::uint16_t>(r);
}

std::uint16_t plain_load(const std::uint8_t *data, std::size_t length) {
    constexpr std::uint8_t kZeros[2] = {};
    return plain_augmented(kZeros, 2, plain_augmented(data, length, 0));
}

std::uint32_t plain_crc32(const std::uint8_t *data, std::size_t length) {
    if (length == 0) {
        return 0;
    }
    std::uint32_t r = 0xFFFFFFFF;
    for (std::size_t i = 0; i < length; ++i) {
        r = g_auiCRC32Table[(data[i] ^ r) & 0xFF] ^ (r >> 8);
    }
    return ~r;
}

// Bit by bit, with no table.
std::uint16_t bitwise_crc16(const Bytes &data, std::uint16_t start) {
    std::uint32_t r = start;
    for (const std::uint8_t byte : data) {
        r ^= std::uint32_t{byte} << 8;
        for (int bit = 0; bit < 8; ++bit) {
            r = (r & 0x8000) != 0 ? r << 1 ^ 0x11021 : r << 1;
        }
    }
    return static_cast<std::uint16_t>(r);
}

std::uint32_t bitwise_crc32(const Bytes &data) {
    std::uint32_t r = 0xFFFFFFFF;
    for (const std::uint8_t byte : data) {
        r ^= byte;
        for (int bit = 0; bit < 8; ++bit) {
            r = (r & 1) != 0 ? r >> 1 ^ 0xEDB88320u : r >> 1;
        }
    }
    return ~r;
}

Bytes random_bytes(std::size_t size, unsigned seed) {
    std::mt19937 random(seed);
    Bytes bytes(size);
    for (std::uint8_t &byte : bytes) {
        byte = static_cast<std::uint8_t>(random());
    }
    return bytes;
}

struct Way {
    const char *name;
    std::uint8_t features;
};

constexpr Way kWays[] = {
    {"look-ups", orva::crc::kAsked},
    {"folding", orva::crc::kAsked | orva::crc::kFolding},
    {"wide folding", orva::crc::kAsked | orva::crc::kFolding | orva::crc::kWideFolding},
    {"instructions", orva::crc::kAsked | orva::crc::kCrc32Instructions},
    {"instructions and folding", orva::crc::kAsked | orva::crc::kFolding | orva::crc::kCrc32Instructions},
};

// Does the work in every way that this processor has.
template <typename Work>
void in_every_way(Work work) {
    const std::uint8_t offered = orva::crc::ask_processor();
    for (const Way &way : kWays) {
        if ((way.features & ~offered) == 0) {
            SCOPED_TRACE(way.name);
            orva::crc::known_features = way.features;
            work();
        }
    }
}

std::uint16_t crc16(const std::uint8_t *data, std::size_t length, std::uint16_t start) {
    ORVA_COMM_Crc16CheckSum(data, static_cast<std::uint32_t>(length), &start);
    return start;
}

std::uint16_t augmented(const std::uint8_t *data, std::size_t length, std::uint16_t start) {
    ORVA_PWR_CheckCrc16Sum(data, static_cast<std::uint32_t>(length), &start);
    return start;
}

class OrvaCommCrc : public orva_test::PlatformTest {
protected:
    static void build_tables() {
        ORVA_COMM_InitCrc16Table();
        ORVA_COMM_InitCrc32Table();
    }

    // Every function against its plain loop at one place.
    static void expect_plain_results(const std::uint8_t *data, std::size_t length, std::uint16_t start) {
        const auto length32 = static_cast<std::uint32_t>(length);
        ASSERT_EQ(crc16(data, length, start), plain_crc16(data, length, start)) << length;
        ASSERT_EQ(augmented(data, length, start), plain_augmented(data, length, start)) << length;
        ASSERT_EQ(ORVA_LOAD_CalcAppCrc16Sum(data, length32), plain_load(data, length)) << length;
        ASSERT_EQ(ORVA_COMM_Crc32CheckSum(data, length32), plain_crc32(data, length)) << length;
    }

    // Every length from 0 to 300 at every alignment.
    static void expect_plain_results_everywhere(unsigned seed) {
        const Bytes bytes = random_bytes(320, seed);
        alignas(16) std::uint8_t storage[336];
        for (std::size_t offset = 0; offset < 16; ++offset) {
            std::memcpy(storage + offset, bytes.data(), bytes.size());
            for (std::size_t length = 0; length <= 300; ++length) {
                const auto start = static_cast<std::uint16_t>(length * 40503u + offset * 977u);
                ASSERT_NO_FATAL_FAILURE(expect_plain_results(storage + offset, length, start)) << offset;
            }
        }
    }
};

TEST_F(OrvaCommCrc, Tables_AreZeroUntilBuilt) {
    for (unsigned i = 0; i < 256; ++i) {
        EXPECT_EQ(g_ausCRC16Table[i], 0u);
        EXPECT_EQ(g_auiCRC32Table[i], 0u);
    }
}

TEST_F(OrvaCommCrc, InitCrc16Table_FillsTheTableBitByBit) {
    ORVA_COMM_InitCrc16Table();
    for (unsigned i = 0; i < 256; ++i) {
        EXPECT_EQ(g_ausCRC16Table[i], bitwise_crc16({static_cast<std::uint8_t>(i)}, 0)) << i;
    }
    EXPECT_EQ(g_ausCRC16Table[0], 0u);
    EXPECT_EQ(g_ausCRC16Table[1], 0x1021u);
    EXPECT_EQ(g_ausCRC16Table[255], 0x1EF0u);
    EXPECT_EQ(g_auiCRC32Table[1], 0u);
}

TEST_F(OrvaCommCrc, InitCrc16Table_ASecondCallDoesNothing) {
    ORVA_COMM_InitCrc16Table();
    g_ausCRC16Table[7] = 0x1234;
    ORVA_COMM_InitCrc16Table();
    EXPECT_EQ(g_ausCRC16Table[7], 0x1234u);
}

TEST_F(OrvaCommCrc, InitCrc16Table_TheFirstCallOverwritesWhatIsThere) {
    g_ausCRC16Table[1] = 0xFFFF;
    ORVA_COMM_InitCrc16Table();
    EXPECT_EQ(g_ausCRC16Table[1], 0x1021u);
}

TEST_F(OrvaCommCrc, InitCrc32Table_FillsTheTableBitByBitOnEveryCall) {
    for (int call = 0; call < 2; ++call) {
        ORVA_COMM_InitCrc32Table();
        for (unsigned i = 0; i < 256; ++i) {
            std::uint32_t r = i;
            for (int bit = 0; bit < 8; ++bit) {
                r = (r & 1) != 0 ? r >> 1 ^ 0xEDB88320u : r >> 1;
            }
            EXPECT_EQ(g_auiCRC32Table[i], r) << i;
            g_auiCRC32Table[i] = ~r;
        }
    }
    EXPECT_EQ(g_ausCRC16Table[1], 0u);
}

TEST_F(OrvaCommCrc, CheckValues_OfTheNineDigits) {
    build_tables();
    EXPECT_EQ(crc16(kDigits, 9, 0xFFFF), 0x29B1u);
    EXPECT_EQ(crc16(kDigits, 9, 0), 0x31C3u);
    EXPECT_EQ(ORVA_LOAD_CalcAppCrc16Sum(kDigits, 9), 0x31C3u);
    EXPECT_EQ(ORVA_COMM_Crc32CheckSum(kDigits, 9), 0xCBF43926u);
}

TEST_F(OrvaCommCrc, CheckValues_OfTheDigitsRepeatedIntoTheFastForms) {
    build_tables();
    for (const std::size_t repeats : {2u, 4u, 16u, 40u, 500u}) {
        Bytes data;
        for (std::size_t i = 0; i < repeats; ++i) {
            data.insert(data.end(), std::begin(kDigits), std::end(kDigits));
        }
        EXPECT_EQ(crc16(data.data(), data.size(), 0xFFFF), bitwise_crc16(data, 0xFFFF)) << repeats;
        EXPECT_EQ(ORVA_LOAD_CalcAppCrc16Sum(data.data(), static_cast<std::uint32_t>(data.size())),
                  bitwise_crc16(data, 0))
            << repeats;
        EXPECT_EQ(ORVA_COMM_Crc32CheckSum(data.data(), static_cast<std::uint32_t>(data.size())), bitwise_crc32(data))
            << repeats;
    }
}

TEST_F(OrvaCommCrc, PwrCheckCrc16Sum_EndsAtZeroOverAMessageAndItsChecksum) {
    build_tables();
    for (const std::size_t size : {0u, 1u, 9u, 14u, 15u, 64u, 1000u}) {
        Bytes message = random_bytes(size, 5);
        if (size == 9) {
            message.assign(std::begin(kDigits), std::end(kDigits));
        }
        const std::uint16_t crc = bitwise_crc16(message, 0);
        message.insert(message.end(), {0, 0});
        EXPECT_EQ(augmented(message.data(), message.size(), 0), crc) << size;
        message[size] = static_cast<std::uint8_t>(crc >> 8);
        message[size + 1] = static_cast<std::uint8_t>(crc);
        EXPECT_EQ(augmented(message.data(), message.size(), 0), 0u) << size;
    }
    const std::uint8_t digits[] = {'1', '2', '3', '4', '5', '6', '7', '8', '9', 0x31, 0xC3};
    EXPECT_EQ(augmented(digits, sizeof digits, 0), 0u);
}

TEST_F(OrvaCommCrc, Crc16CheckSum_EmptyInputAndNullPointersLeaveTheValue) {
    build_tables();
    std::uint16_t crc = 0xBEEF;
    ORVA_COMM_Crc16CheckSum(kDigits, 0, &crc);
    EXPECT_EQ(crc, 0xBEEFu);
    ORVA_COMM_Crc16CheckSum(nullptr, 9, &crc);
    EXPECT_EQ(crc, 0xBEEFu);
    ORVA_COMM_Crc16CheckSum(nullptr, 64, &crc);
    EXPECT_EQ(crc, 0xBEEFu);
    ORVA_COMM_Crc16CheckSum(kDigits, 9, nullptr);
    EXPECT_EQ(crc, 0xBEEFu);
}

TEST_F(OrvaCommCrc, PwrCheckCrc16Sum_EmptyInputStoresTheStartValue) {
    build_tables();
    std::uint16_t crc = 0xBEEF;
    ORVA_PWR_CheckCrc16Sum(nullptr, 0, &crc);
    EXPECT_EQ(crc, 0xBEEFu);
}

TEST_F(OrvaCommCrc, EmptyInput_GivesZero) {
    build_tables();
    EXPECT_EQ(ORVA_LOAD_CalcAppCrc16Sum(nullptr, 0), 0u);
    EXPECT_EQ(ORVA_COMM_Crc32CheckSum(nullptr, 0), 0u);
    EXPECT_EQ(ORVA_COMM_Crc32CheckSum(kDigits, 0), 0u);
}

TEST_F(OrvaCommCrc, StandardTables_EveryLengthAndAlignmentAsTheLoops) {
    build_tables();
    in_every_way([] { expect_plain_results_everywhere(11); });
}

// The engine itself, without the exported tables, against arithmetic bit by bit. `after[n]` is the register after the
// first n bytes.
template <typename Form, std::size_t Size>
auto registers_bit_by_bit(const std::uint8_t *data, typename Form::Register start) {
    std::array<typename Form::Register, Size + 1> after{start};
    for (std::size_t i = 0; i < Size; ++i) {
        auto r = static_cast<typename Form::Register>(after[i] ^ Form::first(data[i]));
        for (int bit = 0; bit < 8; ++bit) {
            r = Form::shift_bit(r);
        }
        after[i + 1] = r;
    }
    return after;
}

constexpr std::size_t kEngineBytes = 1100;

template <typename Form>
void expect_every_length_at_every_alignment() {
    const Bytes bytes = random_bytes(kEngineBytes, 51);
    std::mt19937 random(52);
    alignas(64) std::uint8_t storage[kEngineBytes + 16];
    for (std::size_t offset = 0; offset < 16; ++offset) {
        std::memcpy(storage + offset, bytes.data(), bytes.size());
        for (int start = 0; start < 4; ++start) {
            const auto r = static_cast<typename Form::Register>(random());
            const auto after = registers_bit_by_bit<Form, kEngineBytes>(storage + offset, r);
            for (std::size_t length = 0; length <= kEngineBytes; ++length) {
                ASSERT_EQ(orva::crc::advance<Form>(r, storage + offset, length), after[length])
                    << length << " bytes at " << offset;
            }
        }
    }
}

template <typename Form>
void expect_cuts_to_continue() {
    const Bytes bytes = random_bytes(kEngineBytes, 53);
    const auto after = registers_bit_by_bit<Form, kEngineBytes>(bytes.data(), 0x1D0F);
    for (std::size_t cut = 0; cut <= kEngineBytes; ++cut) {
        for (std::size_t length = cut; length <= kEngineBytes; length += length < 320 ? 1 : 13) {
            ASSERT_EQ(orva::crc::advance<Form>(after[cut], bytes.data() + cut, length - cut), after[length])
                << length << " bytes cut at " << cut;
        }
    }
}

TEST_F(OrvaCommCrc, Engine_EveryLengthAndAlignmentAsBitByBit) {
    in_every_way([] {
        expect_every_length_at_every_alignment<orva::crc::Crc16>();
        expect_every_length_at_every_alignment<orva::crc::Crc32>();
    });
}

TEST_F(OrvaCommCrc, Engine_EverySplitContinuesAsBitByBit) {
    in_every_way([] {
        expect_cuts_to_continue<orva::crc::Crc16>();
        expect_cuts_to_continue<orva::crc::Crc32>();
    });
}

TEST_F(OrvaCommCrc, Engine_AsksTheProcessorOnce) {
    orva::crc::known_features = 0;
    const std::uint8_t offered = orva::crc::ask_processor();
    EXPECT_EQ(orva::crc::features(), offered);
    EXPECT_EQ(orva::crc::known_features, offered);
    orva::crc::known_features = orva::crc::kAsked;
    EXPECT_EQ(orva::crc::features(), orva::crc::kAsked);
}

#if defined(__x86_64__)
TEST_F(OrvaCommCrc, Engine_TakesWhatTheCompilersOwnCheckFinds) {
    const bool folds = __builtin_cpu_supports("pclmul") != 0 && __builtin_cpu_supports("sse4.1") != 0;
    const bool foldsWide = folds && __builtin_cpu_supports("avx512f") != 0 &&
                           __builtin_cpu_supports("avx512bw") != 0 && __builtin_cpu_supports("vpclmulqdq") != 0;
    EXPECT_EQ(orva::crc::ask_processor(),
              orva::crc::kAsked | (folds ? orva::crc::kFolding : 0) | (foldsWide ? orva::crc::kWideFolding : 0));
}
#elif defined(__aarch64__)
TEST_F(OrvaCommCrc, Engine_LooksUpWhereTheKernelNamesNoFeatures) {
    orva_test::fail_always("getauxval", 0);
    orva::crc::known_features = 0;
    EXPECT_EQ(orva::crc::features(), orva::crc::kAsked);
    EXPECT_EQ(orva_test::calls_of("getauxval"), 1u);
}
#endif

TEST_F(OrvaCommCrc, StandardTables_EveryStartValueAsTheLoops) {
    build_tables();
    const Bytes bytes = random_bytes(48, 12);
    in_every_way([&bytes] {
        for (unsigned start = 0; start < 0x10000; ++start) {
            const auto start16 = static_cast<std::uint16_t>(start);
            ASSERT_EQ(crc16(bytes.data(), 48, start16), plain_crc16(bytes.data(), 48, start16));
            ASSERT_EQ(augmented(bytes.data(), 48, start16), plain_augmented(bytes.data(), 48, start16));
        }
    });
}

TEST_F(OrvaCommCrc, StandardTables_LongInputsAsTheLoops) {
    build_tables();
    const Bytes bytes = random_bytes(70000, 13);
    in_every_way([&bytes] {
        for (std::size_t length = 301; length < bytes.size() - 15; length += length < 2600 ? 1 : length / 3) {
            ASSERT_NO_FATAL_FAILURE(
                expect_plain_results(bytes.data() + length % 16, length, static_cast<std::uint16_t>(length * 31)));
        }
    });
}

TEST_F(OrvaCommCrc, StandardTables_EverySplitOfABufferContinuesTheChecksum) {
    build_tables();
    const Bytes bytes = random_bytes(500, 14);
    const std::uint16_t whole = crc16(bytes.data(), 500, 0x1D0F);
    const std::uint16_t wholeAugmented = augmented(bytes.data(), 500, 0x1D0F);
    for (std::size_t cut = 0; cut <= 500; ++cut) {
        ASSERT_EQ(crc16(bytes.data() + cut, 500 - cut, crc16(bytes.data(), cut, 0x1D0F)), whole) << cut;
        ASSERT_EQ(augmented(bytes.data() + cut, 500 - cut, augmented(bytes.data(), cut, 0x1D0F)), wholeAugmented)
            << cut;
    }
}

TEST_F(OrvaCommCrc, ZeroTables_EveryLengthAndAlignmentAsTheLoops) {
    in_every_way([] { expect_plain_results_everywhere(21); });
}

TEST_F(OrvaCommCrc, ZeroTables_OnlyShiftTheStartValueAndCountTheLength) {
    const Bytes bytes = random_bytes(64, 22);
    EXPECT_EQ(crc16(bytes.data(), 1, 0xABCD), 0xCD00u);
    EXPECT_EQ(crc16(bytes.data(), 64, 0xABCD), 0u);
    EXPECT_EQ(ORVA_COMM_Crc32CheckSum(bytes.data(), 1), 0xFF000000u);
    EXPECT_EQ(ORVA_COMM_Crc32CheckSum(bytes.data(), 3), 0xFFFFFF00u);
    EXPECT_EQ(ORVA_COMM_Crc32CheckSum(bytes.data(), 64), 0xFFFFFFFFu);
}

TEST_F(OrvaCommCrc, AlteredTables_EveryLengthAndAlignmentAsTheLoops) {
    build_tables();
    g_ausCRC16Table[255] ^= 1;
    g_auiCRC32Table[255] ^= 0x80000000;
    in_every_way([] { expect_plain_results_everywhere(31); });
}

TEST_F(OrvaCommCrc, AlteredTables_AnyEntryGoverns) {
    build_tables();
    Bytes bytes(256);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        bytes[i] = static_cast<std::uint8_t>(i);
    }
    in_every_way([&bytes] {
        for (unsigned i = 0; i < 256; ++i) {
            for (unsigned bit = 0; bit < 32; ++bit) {
                g_ausCRC16Table[i] = static_cast<std::uint16_t>(g_ausCRC16Table[i] ^ 1u << bit % 16);
                g_auiCRC32Table[i] ^= 1u << bit;
                ASSERT_NO_FATAL_FAILURE(expect_plain_results(bytes.data(), bytes.size(), 0xFFFF)) << i;
                g_ausCRC16Table[i] = static_cast<std::uint16_t>(g_ausCRC16Table[i] ^ 1u << bit % 16);
                g_auiCRC32Table[i] ^= 1u << bit;
            }
            ASSERT_NO_FATAL_FAILURE(expect_plain_results(bytes.data(), bytes.size(), 0xFFFF)) << i;
        }
    });
}

TEST_F(OrvaCommCrc, AlteredTables_ChangeTheResult) {
    build_tables();
    const Bytes bytes(256, 0);
    const std::uint16_t before16 = crc16(bytes.data(), 256, 0);
    const std::uint16_t beforeAugmented = augmented(bytes.data(), 256, 0);
    const std::uint16_t beforeLoad = ORVA_LOAD_CalcAppCrc16Sum(bytes.data(), 256);
    const std::uint32_t before32 = ORVA_COMM_Crc32CheckSum(bytes.data(), 256);
    g_ausCRC16Table[0] = 0x0001;
    for (std::uint32_t &entry : g_auiCRC32Table) {
        entry ^= 1;
    }
    EXPECT_NE(crc16(bytes.data(), 256, 0), before16);
    EXPECT_NE(augmented(bytes.data(), 256, 0), beforeAugmented);
    EXPECT_NE(ORVA_LOAD_CalcAppCrc16Sum(bytes.data(), 256), beforeLoad);
    EXPECT_NE(ORVA_COMM_Crc32CheckSum(bytes.data(), 256), before32);
}

TEST_F(OrvaCommCrc, Init_FromSeveralThreadsWhileOthersSum) {
    build_tables();
    const Bytes bytes = random_bytes(64, 41);
    const std::uint32_t expected = bitwise_crc32(bytes);
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([&bytes, expected] {
            for (int round = 0; round < 200; ++round) {
                ORVA_COMM_InitCrc16Table();
                ORVA_COMM_InitCrc32Table();
                EXPECT_EQ(ORVA_COMM_Crc32CheckSum(bytes.data(), 64), expected);
            }
        });
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
}

TEST_F(OrvaCommCrc, Init_FirstCallsFromSeveralThreadsBuildTheTables) {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back(build_tables);
    }
    for (std::thread &thread : threads) {
        thread.join();
    }
    EXPECT_EQ(crc16(kDigits, 9, 0xFFFF), 0x29B1u);
    EXPECT_EQ(ORVA_COMM_Crc32CheckSum(kDigits, 9), 0xCBF43926u);
}

} // namespace
