#include "host/render/Vendors.h"

#include "tests/host/Program.h"

#include <gtest/gtest.h>

using ketmon::CVendors;
using ketmon::macBits;
using test::TemporaryFile;

namespace {

// As the registry writes it, line ends of another system included.
char const * const list = "OUI/MA-L                  Organization\r\n"
                          "company_id                Organization\r\n"
                          "                          Address\r\n"
                          "\r\n"
                          "00-22-72   (hex)\t\tAmerican Micro-Fuel Device Corp.\r\n"
                          "002272     (base 16)\t\tAmerican Micro-Fuel Device Corp.\r\n"
                          "\t\t\t\tFerndale  WA  98248\r\n"
                          "00-13-20   (hex)\t\tExample Corporate\r\n"
                          "FC-FF-AA   (hex)\t\tIEEE Registration Authority\r\n"
                          "00-00-0C   (hex)\t\tFirst, Inc\r\n"
                          "00-00-0D   (hex)\t\tCo., Ltd.\r\n"
                          "00-00-0E   (hex)\t\tPrivate\r\n"
                          "02-00-00   (hex)\t\tMade Up\r\n";

TEST(Vendors, AreFoundByTheFirstThreeBytes)
{
    TemporaryFile const file(list);
    CVendors const vendors(file.path());

    EXPECT_EQ(vendors("00:22:72:01:02:03"), "American Micro-Fuel Device");
    EXPECT_EQ(vendors("00-22-72-FF-FF-FF"), "American Micro-Fuel Device");
    EXPECT_EQ(vendors("00:13:20:61:83:a3"), "Example Corporate") << "only whole words are forms of companies";
    EXPECT_EQ(vendors("00:00:0c:00:00:00"), "First");
    EXPECT_EQ(vendors("00:00:0d:00:00:00"), "Co.") << "something always remains";
    EXPECT_EQ(vendors("00:22:73:01:02:03"), "");
}

TEST(Vendors, HaveNoAddressesThatSoftwareMadeUpOrThatAreOfGroups)
{
    TemporaryFile const file(list);
    CVendors const vendors(file.path());

    EXPECT_EQ(vendors("02:00:00:01:02:03"), "") << "though the list has it";
    EXPECT_EQ(vendors("01:22:72:01:02:03"), "");
    EXPECT_EQ(vendors("fc:ff:aa:01:02:03"), "") << "given away in smaller parts";
    EXPECT_EQ(vendors("00:00:0e:01:02:03"), "");
}

TEST(Vendors, AreNoFailureWithoutAList)
{
    EXPECT_EQ(CVendors("/no/such/list")("00:22:72:01:02:03"), "");
    EXPECT_EQ(CVendors("/")("00:22:72:01:02:03"), "") << "a folder";
    EXPECT_EQ(CVendors(TemporaryFile("").path())("00:22:72:01:02:03"), "");
}

TEST(Vendors, AreReadAsFarAsADamagedListGoes)
{
    std::string const whole(list);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        TemporaryFile const cut(whole.substr(0, length));
        std::string const name = CVendors(cut.path())("00:22:72:01:02:03");
        EXPECT_TRUE(std::string("American Micro-Fuel Device Corp.").starts_with(name)) << length;
    }
    std::string const wild = "00-22-7x   (hex)\t\tNobody\n"
                             "00-22\n(hex)\n" +
                             std::string(5000, '-') + "(hex) long\n" + std::string(100, '\0') +
                             "\n00-22-72(hex)\n00-22-72   (hex)   \tSomebody";
    TemporaryFile const file(wild);
    EXPECT_EQ(CVendors(file.path())("00:22:72:01:02:03"), "Somebody");
}

TEST(Vendors, AreNotAskedOfWhatIsNoHardwareAddress)
{
    TemporaryFile const file(list);
    CVendors const vendors(file.path());

    for (char const * const text : {"", "10.0.0.1", "00:22:72", "00:22:72:01:02:0g", "00:22:72:01:02:03:04",
                                    "00.22.72.01.02.03", "+0:22:72:01:02:03"})
        EXPECT_EQ(vendors(text), "") << text;
    EXPECT_EQ(macBits("00:11:22:aa:bb:cc"), 0x001122AABBCCULL);
    EXPECT_EQ(macBits("FF-FF-FF-FF-FF-FF"), 0xFFFFFFFFFFFFULL);
}

} // namespace
