#include <array>
#include <cstdint>
#include <cstring>

#include "orva_comm.h"
#include "platform_double.h"

using namespace orva_test;

class Nibble : public PlatformTest {
protected:
    std::array<std::uint8_t, 6> map_{};
};

TEST_F(Nibble, Set_CrossesAByteBoundary) {
    ORVA_AGENT_SetGlobalCfgByFourBit(0xA, map_.data(), 6);
    EXPECT_EQ(map_, (std::array<std::uint8_t, 6>{0x80, 0x02, 0, 0, 0, 0}));
    EXPECT_EQ(ORVA_AGENT_GetGlobalCfgByFourBit(map_.data(), 6), 0xAu);
}

TEST_F(Nibble, Set_OnlyAddsBits) {
    ORVA_AGENT_SetGlobalCfgByFourBit(0xA, map_.data(), 8);
    ORVA_AGENT_SetGlobalCfgByFourBit(0x5, map_.data(), 8);
    EXPECT_EQ(map_, (std::array<std::uint8_t, 6>{0, 0x0F, 0, 0, 0, 0}));
    ORVA_AGENT_SetGlobalCfgByFourBit(0, map_.data(), 8);
    EXPECT_EQ(ORVA_AGENT_GetGlobalCfgByFourBit(map_.data(), 8), 0xFu);
}

TEST_F(Nibble, Set_IgnoresTheHighBitsOfTheValue) {
    ORVA_AGENT_SetGlobalCfgByFourBit(0xF0, map_.data(), 0);
    EXPECT_EQ(map_, (std::array<std::uint8_t, 6>{}));
}

// Against a plain array of bits, over every value, start and two backgrounds.
TEST_F(Nibble, SetAndGet_AgreeWithAnArrayOfBits) {
    for (const std::uint8_t background : {std::uint8_t{0}, std::uint8_t{0x96}}) {
        for (std::uint32_t start = 0; start <= 44; ++start) {
            for (unsigned value = 0; value < 16; ++value) {
                map_.fill(background);
                std::array<bool, 48> bits{};
                for (std::size_t j = 0; j < bits.size(); ++j) {
                    bits[j] = (background >> (j % 8) & 1) != 0;
                }
                unsigned group = 0;
                for (unsigned k = 0; k < 4; ++k) {
                    bits[start + k] = bits[start + k] || (value >> k & 1) != 0;
                    group += bits[start + k] ? 1u << k : 0u;
                }
                ORVA_AGENT_SetGlobalCfgByFourBit(static_cast<std::uint8_t>(value), map_.data(), start);
                EXPECT_EQ(ORVA_AGENT_GetGlobalCfgByFourBit(map_.data(), start), group);
                for (std::size_t j = 0; j < bits.size(); ++j) {
                    ASSERT_EQ((map_[j / 8] >> (j % 8) & 1) != 0, bits[j]) << "start " << start << ", bit " << j;
                }
            }
        }
    }
}
