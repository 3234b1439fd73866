#include "hand_converters.h"

#include <boost/endian/conversion.hpp>
#include <cstdint>
#include <cstring>

void orva_bench_hook() {}

namespace {

using orva_bench::HandConverter;

struct Builtin {
    static void swap16(std::uint8_t *at) {
        std::uint16_t value;
        std::memcpy(&value, at, sizeof value);
        value = __builtin_bswap16(value);
        std::memcpy(at, &value, sizeof value);
    }
    static void swap32(std::uint8_t *at) {
        std::uint32_t value;
        std::memcpy(&value, at, sizeof value);
        value = __builtin_bswap32(value);
        std::memcpy(at, &value, sizeof value);
    }
};

struct Boost {
    static void swap16(std::uint8_t *at) {
        boost::endian::store_little_u16(at, boost::endian::load_big_u16(at));
    }
    static void swap32(std::uint8_t *at) {
        boost::endian::store_little_u32(at, boost::endian::load_big_u32(at));
    }
};

std::uint32_t host_word(const std::uint8_t *at) {
    std::uint32_t value;
    std::memcpy(&value, at, sizeof value);
    return value;
}

// Body converters; the framed ones swap the prefix and go on after it.
template <typename Swap>
void words(std::uint8_t *p, int count) {
    for (int i = 0; i < count; ++i) {
        Swap::swap32(p + 4 * i);
    }
}

template <typename Swap, int kWords>
void fixed(void *message) {
    words<Swap>(static_cast<std::uint8_t *>(message), kWords);
}

template <typename Swap, int kWords, int kExtra>
void fixed_and(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    words<Swap>(p, kWords);
    Swap::swap32(p + kExtra);
}

template <typename Swap, int kBound>
void sensors_to_host(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    int count = p[19];
    if (count > kBound) {
        count = kBound;
    }
    for (int i = 0; i < count; ++i) {
        Swap::swap32(p + 24 + 8 * i);
    }
    words<Swap>(p, 4);
}

template <typename Swap, int kBound>
void sensors_to_net(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    words<Swap>(p, 4);
    int count = p[19];
    if (count > kBound) {
        count = kBound;
    }
    for (int i = 0; i < count; ++i) {
        Swap::swap32(p + 24 + 8 * i);
    }
}

template <typename Swap>
void mpu_sensors(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    words<Swap>(p, 4);
    int temperatures = p[16];
    int voltages = p[17];
    if (temperatures > 68) {
        temperatures = 68;
    }
    if (voltages > 168) {
        voltages = 168;
    }
    for (int i = 0; i < temperatures; ++i) {
        Swap::swap16(p + 24 + 12 * i);
        Swap::swap32(p + 28 + 12 * i);
    }
    for (int i = 0; i < voltages; ++i) {
        Swap::swap16(p + 840 + 12 * i);
        Swap::swap32(p + 844 + 12 * i);
    }
}

template <typename Swap>
void sub_cards(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    words<Swap>(p, 5);
    const int cards = p[21];
    const int sensors = p[22];
    for (int i = 0; i < (cards > 14 ? 14 : cards); ++i) {
        Swap::swap32(p + 24 + 8 * i);
    }
    for (int i = 0; i < (sensors > 168 ? 168 : sensors); ++i) {
        Swap::swap16(p + 140 + 22 * i);
        Swap::swap16(p + 142 + 22 * i);
    }
    for (int i = 0; i < (sensors > 68 ? 68 : sensors); ++i) {
        Swap::swap16(p + 3838 + 22 * i);
        Swap::swap16(p + 3840 + 22 * i);
    }
}

template <typename Swap>
void stubs(std::uint8_t *p, std::uint32_t count) {
    if (count > 32) {
        count = 32;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        Swap::swap32(p + 4 + 40 * i);
        Swap::swap32(p + 8 + 40 * i);
    }
}

template <typename Swap>
void simulate_to_host(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    Swap::swap32(p);
    stubs<Swap>(p, host_word(p));
}

template <typename Swap>
void simulate_to_net(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    stubs<Swap>(p, host_word(p));
    Swap::swap32(p);
}

template <typename Swap>
void names(std::uint8_t *p, std::uint32_t count) {
    if (count > 32) {
        count = 32;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        Swap::swap16(p + 68 + 68 * i);
        Swap::swap16(p + 70 + 68 * i);
    }
}

template <typename Swap>
void names_to_host(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    Swap::swap32(p);
    names<Swap>(p, host_word(p));
}

template <typename Swap>
void names_to_net(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    names<Swap>(p, host_word(p));
    Swap::swap32(p);
}

template <typename Swap>
void power_sensors(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    words<Swap>(p, 4);
    Swap::swap32(p + 80);
    if (p[87] >= 97) {
        p[87] = 96;
    }
    const int count = p[87];
    for (int i = 0; i < count; ++i) {
        Swap::swap16(p + 2206 + 22 * i);
        Swap::swap16(p + 2208 + 22 * i);
    }
}

template <typename Swap>
void heart_beat_to_host(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    words<Swap>(p, 8);
    Swap::swap32(p + 36);
    Swap::swap32(p + 40);
}

template <typename Swap, void (*kBody)(void *)>
void framed(void *message) {
    auto *p = static_cast<std::uint8_t *>(message);
    Swap::swap16(p);
    kBody(p + 8);
}

template <void (*kConvert)(void *)>
void hooked(void *message) {
    kConvert(message);
    orva_bench_hook();
}

constexpr HandConverter kHandConverters[] = {
    {"SwitchOverMsgToHost", hooked<fixed<Builtin, 5>>, hooked<fixed<Boost, 5>>},
    {"SwitchOverMsgToNet", hooked<framed<Builtin, fixed<Builtin, 5>>>, hooked<framed<Boost, fixed<Boost, 5>>>},
    {"SenAlmReqMsgToHost", fixed<Builtin, 4>, fixed<Boost, 4>},
    {"SenAlmReqMsgToNet", fixed<Builtin, 4>, fixed<Boost, 4>},
    {"AddrRegMsgToHost", hooked<fixed<Builtin, 5>>, hooked<fixed<Boost, 5>>},
    {"AddrAckMsgToNet", hooked<framed<Builtin, fixed<Builtin, 5>>>, hooked<framed<Boost, fixed<Boost, 5>>>},
    {"TempInfoMsgToHost", hooked<sensors_to_host<Builtin, 68>>, hooked<sensors_to_host<Boost, 68>>},
    {"TempInfoMsgToNet", hooked<framed<Builtin, sensors_to_net<Builtin, 68>>>,
     hooked<framed<Boost, sensors_to_net<Boost, 68>>>},
    {"VltInfoMsgToHost", sensors_to_host<Builtin, 168>, sensors_to_host<Boost, 168>},
    {"VltInfoMsgToNet", framed<Builtin, sensors_to_net<Builtin, 168>>, framed<Boost, sensors_to_net<Boost, 168>>},
    {"MpuMngSensorInfoToHost", mpu_sensors<Builtin>, mpu_sensors<Boost>},
    {"MpuMngSensorInfoToNet", mpu_sensors<Builtin>, mpu_sensors<Boost>},
    {"MpuMngSensorInfoMsgToNet", framed<Builtin, mpu_sensors<Builtin>>, framed<Boost, mpu_sensors<Boost>>},
    {"SubCardInfoMsgToHost", sub_cards<Builtin>, sub_cards<Boost>},
    {"SubCardInfoMsgToNet", hooked<framed<Builtin, sub_cards<Builtin>>>, hooked<framed<Boost, sub_cards<Boost>>>},
    {"CardAttrMsgToHost", fixed_and<Builtin, 4, 20>, fixed_and<Boost, 4, 20>},
    {"CardAttrMsgToNet", framed<Builtin, fixed_and<Builtin, 4, 20>>, framed<Boost, fixed_and<Boost, 4, 20>>},
    {"CardHumidMsgToHost", fixed_and<Builtin, 4, 20>, fixed_and<Boost, 4, 20>},
    {"CardHumidMsgToNet", framed<Builtin, fixed_and<Builtin, 4, 20>>, framed<Boost, fixed_and<Boost, 4, 20>>},
    {"SimulateMsgToHost", simulate_to_host<Builtin>, simulate_to_host<Boost>},
    {"SimulateMsgToNet", framed<Builtin, simulate_to_net<Builtin>>, framed<Boost, simulate_to_net<Boost>>},
    {"SoNameReqToHost", fixed<Builtin, 1>, fixed<Boost, 1>},
    {"SoNameReqToNet", framed<Builtin, fixed<Builtin, 1>>, framed<Boost, fixed<Boost, 1>>},
    {"SoNameAckToHost", names_to_host<Builtin>, names_to_host<Boost>},
    {"SoNameAckToNet", framed<Builtin, names_to_net<Builtin>>, framed<Boost, names_to_net<Boost>>},
    {"FrameAttrMsgToHost", fixed_and<Builtin, 4, 140>, fixed_and<Boost, 4, 140>},
    {"ReqFrameAtrrMsgToNet", framed<Builtin, fixed_and<Builtin, 4, 140>>, framed<Boost, fixed_and<Boost, 4, 140>>},
    {"ReqMsgToHost", fixed<Builtin, 4>, fixed<Boost, 4>},
    {"ReqMsgToNet", fixed<Builtin, 4>, fixed<Boost, 4>},
    {"FrameCardPowerStateMsgToHost", fixed<Builtin, 4>, fixed<Boost, 4>},
    {"FrameCardPowerStateMsgToNet", framed<Builtin, fixed<Builtin, 4>>, framed<Boost, fixed<Boost, 4>>},
    {"PowerStateMsgToNet", hooked<framed<Builtin, fixed_and<Builtin, 5, 48>>>,
     hooked<framed<Boost, fixed_and<Boost, 5, 48>>>},
    {"PwrSenCfgMsgToHost", power_sensors<Builtin>, power_sensors<Boost>},
    {"PwrSenCfgMsgToNet", framed<Builtin, power_sensors<Builtin>>, framed<Boost, power_sensors<Boost>>},
    {"HeartBeatMsgToHost", hooked<heart_beat_to_host<Builtin>>, hooked<heart_beat_to_host<Boost>>},
    {"HeartBeatMsgToNet", hooked<framed<Builtin, fixed<Builtin, 7>>>, hooked<framed<Boost, fixed<Boost, 7>>>},
    {"SensorCtrlMsgToHost", fixed<Builtin, 7>, fixed<Boost, 7>},
    {"SensorCtrlMsgToNet", framed<Builtin, fixed<Builtin, 7>>, framed<Boost, fixed<Boost, 7>>},
};

} // namespace

const HandConverter *orva_bench_hand_converters(std::size_t *count) {
    *count = sizeof kHandConverters / sizeof kHandConverters[0];
    return kHandConverters;
}
