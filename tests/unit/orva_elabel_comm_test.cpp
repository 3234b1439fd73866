#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "orva_elabel_comm.h"
#include "platform_double.h"

using namespace orva_test;
using Records = std::vector<std::string>;

namespace {

class OrvaElabelComm : public PlatformTest {
protected:
    void SetUp() override {
        PlatformTest::SetUp();
        std::memset(value, 'x', sizeof value);
    }
    std::uint32_t get(const std::string &label, const char *key, std::uint32_t valueLen) {
        return ORVA_GetElabelElement(label.c_str(), static_cast<std::uint32_t>(label.size()), key, value, valueLen);
    }
    // The value buffer as it was before the call.
    bool untouched() const {
        return std::string(value, sizeof value) == std::string(sizeof value, 'x');
    }
    char value[64];
};

// One error record whose line number is whatever the source has.
void expect_error_record(const std::string &head, const std::string &tail) {
    const Records logs = take_logs();
    ASSERT_EQ(logs.size(), 1u);
    const std::string whole = "WriteLog(0x10000, 0x2) [ORVA_COMM][ORVA_LEVEL_ERR]" + head;
    ASSERT_EQ(logs[0].substr(0, whole.size()), whole);
    const std::size_t end = logs[0].find_first_not_of("0123456789", whole.size());
    EXPECT_GT(end, whole.size());
    EXPECT_EQ(end == std::string::npos ? "" : logs[0].substr(end), tail);
}

TEST_F(OrvaElabelComm, GetElabelElement_TakesTheValueUpToTheEndOfItsLine) {
    const struct {
        const char *what;
        std::string label;
        const char *key;
        std::uint32_t valueLen;
        const char *expected;
    } cases[] = {
        {"carriage return and line feed", "Item=AB12CD34\r\nVendor=v\r\n", "Item=", 32, "AB12CD34"},
        {"line feed", "Item=AB12CD34\nVendor=v\n", "Item=", 32, "AB12CD34"},
        {"carriage return alone", "Item=AB12\rCD34", "Item=", 32, "AB12"},
        {"a later line", "Vendor=v\nItem=AB12CD34\n", "Item=", 32, "AB12CD34"},
        {"end of the label", "Vendor=v\nItem=AB12CD34", "Item=", 32, "AB12CD34"},
        {"an empty value", "Item=\r\nVendor=v\n", "Item=", 32, ""},
        {"a key at the very end", "Vendor=v\nItem=", "Item=", 32, ""},
        {"the first of two", "Item=one\nItem=two\n", "Item=", 32, "one"},
        {"a key inside a longer one", "SubItem=sub\nItem=main\n", "Item=", 32, "sub"},
        {"a key with its line start", "SubItem=sub\nItem=main\n", "\nItem=", 32, "main"},
        {"an over-long value", "Item=ABCDEFG\n", "Item=", 4, "ABC"},
        {"a value of exactly valueLen", "Item=ABCD\n", "Item=", 4, "ABC"},
        {"a value of valueLen - 1", "Item=ABC\n", "Item=", 4, "ABC"},
        {"room for the zero alone", "Item=ABC\n", "Item=", 1, ""},
        {"other characters", "Item=a=b c\t;\nVendor=v", "Item=", 32, "a=b c\t;"},
    };
    for (const auto &c : cases) {
        std::memset(value, 'x', sizeof value);
        EXPECT_EQ(get(c.label, c.key, c.valueLen), 0u) << c.what;
        EXPECT_STREQ(value, c.expected) << c.what;
        EXPECT_EQ(value[c.valueLen], 'x') << c.what;
    }
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaElabelComm, GetElabelElement_ReachesAsFarAsTheLabelLength) {
    const char *label = "Item=ABCDEF";
    for (std::uint32_t length = 0; length < 20; ++length) {
        const std::size_t expected = length <= 5 ? 0 : std::min<std::size_t>(length - 5, 6);
        EXPECT_EQ(ORVA_GetElabelElement(label, length, "Item=", value, sizeof value), 0u);
        EXPECT_EQ(std::string(value), std::string("ABCDEF").substr(0, expected)) << length;
    }
}

TEST_F(OrvaElabelComm, GetElabelElement_ChecksItsPointersInOrder) {
    const struct {
        const char *label, *key;
        char *value;
        std::uint32_t code;
    } cases[] = {
        {nullptr, nullptr, nullptr, ORVA_ERR_ELABEL_LABEL_NULL},
        {nullptr, "Item=", value, ORVA_ERR_ELABEL_LABEL_NULL},
        {"Item=A", nullptr, nullptr, ORVA_ERR_ELABEL_KEY_NULL},
        {"", nullptr, value, ORVA_ERR_ELABEL_KEY_NULL},
        {"Item=A", "Item=", nullptr, ORVA_ERR_ELABEL_VALUE_NULL},
        {"", "Item=", nullptr, ORVA_ERR_ELABEL_VALUE_NULL},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ORVA_GetElabelElement(c.label, 64, c.key, c.value, sizeof value), c.code);
        expect_error_record("check ptr error, l=", "");
    }
    EXPECT_TRUE(untouched());
}

TEST_F(OrvaElabelComm, GetElabelElement_AnEmptyLabelOrAnAbsentKeyIsNotLogged) {
    EXPECT_EQ(get("", "Item=", sizeof value), ORVA_ERR_ELABEL_EMPTY);
    EXPECT_EQ(ORVA_GetElabelElement("", 64, "Item=", value, sizeof value), ORVA_ERR_ELABEL_EMPTY);
    EXPECT_EQ(get("Vendor=v\nitem=a\n", "Item=", sizeof value), ORVA_ERR_ELABEL_KEY_ABSENT);
    EXPECT_TRUE(untouched());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaElabelComm, GetElabelElement_AFailedCopyIsRecorded) {
    EXPECT_EQ(get("Item=AB\n", "Item=", 0), 1u);
    EXPECT_TRUE(untouched());
    expect_error_record("strcpy error, f=orva_elabel_comm, l=", ", ret=" + std::to_string(EINVAL));
    fail("strncpy_s", 1, 34);
    EXPECT_EQ(get("Item=AB\n", "Item=", 32), 1u);
    EXPECT_TRUE(untouched());
    expect_error_record("strcpy error, f=orva_elabel_comm, l=", ", ret=34");
}

TEST_F(OrvaElabelComm, CheckElabelString_FindsATextAnywhere) {
    const struct {
        const char *label, *text;
        std::uint32_t found;
    } cases[] = {
        {"Item=AB12\nVendor=v", "Item", 1},
        {"Item=AB12\nVendor=v", "12\nV", 1},
        {"Item=AB12\nVendor=v", "=v", 1},
        {"Item=AB12\nVendor=v", "", 1},
        {"Item=AB12\nVendor=v", "item", 0},
        {"Item", "Item=", 0},
        {"", "x", 0},
        {"", "", 1},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(ORVA_CheckElabelString(c.label, c.text), c.found) << c.label << " / " << c.text;
    }
}

TEST_F(OrvaElabelComm, TransformItemLabel_KeepsWhatIsBeforeTheFirstDash) {
    const struct {
        const char *item;
        std::uint32_t outLen;
        const char *expected;
    } cases[] = {
        {"AB12CD34-001", 32, "AB12CD34"},
        {"AB12CD34", 32, "AB12CD34"},
        {"A-B-C", 32, "A"},
        {"-001", 32, ""},
        {"", 32, ""},
        {"AB12-0000000", 5, "AB12"},
        {"AB12", 5, "AB12"},
    };
    for (const auto &c : cases) {
        std::memset(value, 'x', sizeof value);
        EXPECT_EQ(ORVA_VER_TransformItemLabel(c.item, value, c.outLen), 0u) << c.item;
        EXPECT_STREQ(value, c.expected) << c.item;
        EXPECT_EQ(value[c.outLen], 'x') << c.item;
    }
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaElabelComm, TransformItemLabel_ANullItemDoesNothing) {
    EXPECT_EQ(ORVA_VER_TransformItemLabel(nullptr, value, sizeof value), 0u);
    EXPECT_EQ(ORVA_VER_TransformItemLabel(nullptr, nullptr, 0), 0u);
    EXPECT_TRUE(untouched());
    EXPECT_TRUE(take_logs().empty());
}

TEST_F(OrvaElabelComm, TransformItemLabel_AFailedCopyGivesTheSinksResult) {
    const struct {
        const char *item;
        char *out;
        std::uint32_t outLen;
        int ret;
    } cases[] = {
        {"AB12CD34", value, 8, ERANGE},        {"AB12CD34-001", value, 8, ERANGE}, {"AB12CD34", nullptr, 32, EINVAL},
        {"AB12CD34-001", nullptr, 32, EINVAL}, {"AB", value, 0, EINVAL},           {"-", value, 0, EINVAL},
    };
    for (const auto &c : cases) {
        platform().writeLogResult = 0x4242;
        EXPECT_EQ(ORVA_VER_TransformItemLabel(c.item, c.out, c.outLen), 0x4242u) << c.item;
        expect_error_record("strcpy error, f=orva_elabel_comm, l=", ", ret=" + std::to_string(c.ret));
    }
}

} // namespace
