#include "tests/host/CaptureVariants.h"

#include "tests/host/CaptureBuilder.h"

namespace test {

namespace {

using Variants = std::vector<CaptureVariant>;

std::string const frame = "to herefrom there, with a few bytes of payload";
constexpr std::uint32_t second = 1700000000;
constexpr std::uint64_t stamp = std::uint64_t{second} * 1000000 + 123456;

char const * nameOf(std::endian order)
{
    return order == std::endian::big ? ", big-endian" : ", little-endian";
}

std::string classic(ClassicBuilder const & builder, std::string const & extra = "")
{
    return builder.header() + builder.record(second, 123456, frame, extra) +
           builder.record(second + 1, 999999, frame.substr(0, 20), extra);
}

void addClassic(Variants & all, std::endian order)
{
    auto const add = [&](std::string const & name, std::string const & bytes, unsigned int frames,
                         Verdict verdict) {
        all.push_back({"classic, " + name + nameOf(order), bytes, frames, verdict});
    };
    ClassicBuilder const plain{.order = order};

    add("microseconds", classic(plain), 2, whole);
    add("nanoseconds", classic({.order = order, .magic = 0xA1B23C4D}), 2, whole);
    add("patched", classic({.order = order, .magic = 0xA1B2CD34}, "12345678"), 2, whole);
    add("patched, beyond its limit", classic({.order = order, .magic = 0xA1B2CD34, .limit = 10}, "12345678"),
        2, whole);
    add("another magic", classic({.order = order, .magic = 0xA1B2C3D5}), 0, refused);
    add("a frame check sequence", classic({.order = order, .linkType = 0xF4000001}), 2, whole);
    add("another medium", classic({.order = order, .linkType = 101}), 2, whole);
    add("another medium, by another number", classic({.order = order, .linkType = 12}), 2, whole);
    add("another link type", classic({.order = order, .linkType = 105}), 0, refused);
    add("an unknown link type", classic({.order = order, .linkType = 0x00010001}), 0, refused);
    add("no limit", classic({.order = order, .limit = 0}), 2, whole);
    add("a negative limit", classic({.order = order, .limit = 0x80000000}), 2, whole);
    add("the greatest limit", classic({.order = order, .limit = 0x7FFFFFFF}), 2, whole);
    add("frames beyond the limit", classic({.order = order, .limit = 30}), 2, whole);
    add("version 1.9", classic({.order = order, .major = 1, .minor = 9}), 0, refused);
    add("version 2.5", classic({.order = order, .minor = 5}), 0, refused);
    add("version 3.0", classic({.order = order, .major = 3, .minor = 0}), 0, refused);

    std::string const longer = plain.record(second, 1, 8, 100, "8 bytes.");
    std::string const shorter = plain.record(second, 1, 100, 8, "8 bytes.");
    add("version 2.2", ClassicBuilder{.order = order, .minor = 2}.header() + shorter, 1, whole);
    add("version 2.3", ClassicBuilder{.order = order, .minor = 3}.header() + shorter + longer, 2, whole);
    add("version 543.0", ClassicBuilder{.order = order, .major = 543, .minor = 0}.header() + shorter, 1,
        whole);
    add("version 543.1", ClassicBuilder{.order = order, .major = 543, .minor = 1}.header() + shorter, 0,
        refused);

    add("no frame", plain.header(), 0, whole);
    add("an empty frame",
        plain.header() + plain.record(second, 1, 0, 60, "") + plain.record(second, 2, frame), 2, whole);
    add("the longest frame", plain.header() + plain.record(second, 1, std::string(262144, 'x')), 1, whole);
    add("a frame too long", plain.header() + plain.record(second, 1, std::string(262145, 'x')), 0, damaged);
    add("an absurd length", classic(plain) + plain.record(second, 1, 0xFFFFFFFF, 60, frame), 2, damaged);
    add("stamps with the highest bit",
        plain.header() + plain.record(0x80000000, 0x80000000, frame) +
            plain.record(0xFFFFFFFF, 0xFFFFFFFF, frame),
        2, whole);
    add("fractions of more than a second", plain.header() + plain.record(second, 0x7FFFFFFF, frame), 1,
        whole);
}

void addStamps(Variants & all, BlockBuilder const & in)
{
    auto const add = [&](std::string const & name, std::string const & options, Verdict verdict) {
        std::string bytes = in.section() + in.interface(options);
        for (std::uint64_t const moment : {std::uint64_t{0}, stamp, stamp * 1000, ~std::uint64_t{0}})
            bytes += in.enhanced(moment, frame);
        all.push_back({"blocks, " + name + nameOf(in.order), bytes, verdict == whole ? 4U : 0U, verdict});
    };
    for (unsigned int power = 0; power < 256; ++power)
        add("resolution " + std::to_string(power),
            in.option(2, "name") + in.resolution(static_cast<unsigned char>(power)) + in.endOfOptions(),
            power <= 19 || (power >= 128 && power <= 191) ? whole : refused);
    for (long long const seconds : {1LL, -1LL, 1LL << 40, -1LL << 63})
        add("offset " + std::to_string(seconds), in.offset(seconds), whole);
    add("offset and resolution", in.offset(-100) + in.resolution(9), whole);
    add("no more options", in.endOfOptions() + in.resolution(9), whole);
    add("two resolutions", in.resolution(9) + in.resolution(9), refused);
    add("two offsets", in.offset(1) + in.offset(1), refused);
    add("a long resolution", in.option(9, "12"), refused);
    add("a short offset", in.option(14, "1234"), refused);
    add("a long end of options", in.option(0, "1234"), refused);
    add("half an option", in.option(2, "name").substr(0, 6), refused);
    add("an option cut short", in.option(2, "a long name").substr(0, 8), refused);
}

void addBlocks(Variants & all, std::endian order)
{
    BlockBuilder const in{.order = order};
    std::string const start = in.section() + in.interface();
    std::string const good = in.enhanced(stamp, frame);
    auto const add = [&](std::string const & name, std::string const & bytes, unsigned int frames,
                         Verdict verdict) {
        all.push_back({"blocks, " + name + nameOf(order), bytes, frames, verdict});
    };

    add("enhanced", start + good + in.enhanced(stamp, 10, 1500, "ten bytes."), 2, whole);
    add("simple", start + in.simple(46, frame) + in.simple(4, "four"), 2, whole);
    add("simple, cut by the limit", in.section() + in.interface("", 5) + in.simple(46, "5 byt"), 1, whole);
    add("simple, without a limit", in.section() + in.interface("", 0) + in.simple(46, frame), 1, whole);
    add("simple, too short", start + good + in.simple(400, frame), 1, damaged);
    add("obsolete", start + in.obsolete(stamp, frame), 1, whole);
    add("obsolete, of another interface", start + in.obsolete(stamp, frame, 1), 0, damaged);
    add("options behind a frame",
        start + in.block(6, good.substr(8, good.size() - 12) + in.option(2, "flag")), 1, whole);
    add("unknown blocks",
        start + in.block(0xBAD, "1234") + good + in.block(5, "") + good + in.block(4, "name"), 2, whole);
    add("unknown blocks first", in.section() + in.block(0xBAD, "1234") + in.interface() + good, 1, whole);
    add("no frame", start, 0, whole);
    add("an empty frame", start + in.enhanced(stamp, "") + good, 2, whole);

    add("two interfaces", start + in.interface(in.resolution(9)) + in.enhanced(stamp * 1000, frame, 1) + good,
        2, whole);
    add("an interface behind frames", start + good + in.interface() + in.enhanced(stamp, frame, 1), 2, whole);
    add("an unknown interface", start + good + in.enhanced(stamp, frame, 1), 1, damaged);
    add("another limit", start + good + in.interface("", 65534) + in.enhanced(stamp, frame, 1), 1,
        furtherThanLibpcap);
    add("a frame beyond its own limit", start + good + in.interface("", 40) + in.enhanced(stamp, frame, 1), 1,
        damaged);
    add("limits that mean the same",
        in.section() + in.interface("", 0) + in.interface("", 262144) + in.interface("", 0xFFFFFFFF) + good,
        1, whole);
    add("another link type later",
        start + good + in.interface("", 65535, 101) + in.enhanced(stamp, frame, 1) + good, 1,
        furtherThanLibpcap);
    add("another link type first",
        in.section() + in.interface("", 65535, 101) + in.enhanced(stamp, frame) + in.interface() +
            in.enhanced(stamp, frame, 1),
        1, furtherThanLibpcap);
    add("another medium", in.section() + in.interface("", 65535, 101) + good, 1, whole);
    add("another medium, no frame", in.section() + in.interface("", 65535, 101), 0, whole);
    add("another medium, then damage", in.section() + in.interface("", 65535, 101) + in.enhanced(1, "", 1), 0,
        damaged);
    add("other media", in.section() + in.interface("", 65535, 113) + good + in.interface("", 65535, 101), 1,
        furtherThanLibpcap);
    add("another link type", in.section() + in.interface("", 65535, 105) + good, 0, refused);
    add("another link type, twice",
        in.section() + in.interface("", 65535, 105) + good + in.interface("", 65535, 127), 0, refused);
    add("a short interface", in.section() + in.block(1, "1234"), 0, refused);
    add("a short interface later", start + good + in.block(1, "1234"), 1, damaged);
    add("bad options later", start + good + in.interface(in.resolution(20)), 1, damaged);
    add("no interface", in.section(), 0, refused);
    add("a frame first", in.section() + in.simple(4, "four"), 0, refused);

    add("two sections", start + good + start + good, 2, whole);
    add("interfaces end with their section", start + good + in.section() + good, 1, damaged);
    add("a section without interfaces", in.section() + start + good, 1, whole);
    add("an odd section first", in.section() + in.section(7) + in.interface() + good, 1, whole);
    add("version 1.2", in.section(1, 2) + in.interface() + good, 1, whole);
    add("version 1.1", in.section(1, 1) + in.interface() + good, 0, refused);
    add("version 2.0", in.section(2) + in.interface() + good, 0, refused);
    add("version 1.9 later", start + good + in.section(1, 9) + in.interface() + good, 2, whole);
    add("version 2.0 later", start + good + in.section(2), 1, damaged);
    add("a short section later", start + good + in.block(0x0A0D0D0A, "1234"), 1, damaged);
    std::endian const otherOrder = order == std::endian::big ? std::endian::little : std::endian::big;
    BlockBuilder const other{.order = otherOrder};
    add("a section of the other order", start + good + other.section() + other.interface(), 1, damaged);
    std::string const otherMagic = Numbers(otherOrder).four(0x1A2B3C4D).bytes();
    add("a section with the other magic",
        start + good + in.block(0x0A0D0D0A, otherMagic + std::string(12, '\0')), 1, damaged);
    add("a section with no magic", start + good + in.block(0x0A0D0D0A, std::string(16, '\0')), 1, damaged);
    add("options of a section",
        in.section(1, 0, in.option(4, "a program") + in.endOfOptions()) + in.interface(), 0, whole);
    add("a long section header", in.section(1, 0, std::string((1 << 20) - 28, 'x')) + in.interface() + good,
        1, whole);
    add("a section header too long", in.section(1, 0, std::string((1 << 20) - 24, 'x')) + in.interface(), 0,
        refused);
    add("a short section header", in.block(0x0A0D0D0A, in.section().substr(8, 12)) + in.interface(), 0,
        refused);

    auto const ofLength = [&](std::uint32_t length) {
        return start + good + Numbers(order).four(6).four(length).bytes() + std::string(64, '\0');
    };
    add("a block shorter than a block", ofLength(8), 1, damaged);
    add("a block of odd length", ofLength(33), 1, damaged);
    add("an absurd block", ofLength(0xFFFFFFFC), 1, damaged);
    add("a long block that isn't there", ofLength(16 << 20), 1, damaged);
    add("the longest block", start + in.block(0xBAD, std::string((16 << 20) - 12, 'x')) + good, 1, whole);
    add("a block too long", start + in.block(0xBAD, std::string((16 << 20) - 8, 'x')) + good, 0, damaged);
    std::string torn = good;
    torn[torn.size() - (order == std::endian::big ? 1 : 4)] ^= 4;
    add("two lengths that differ", start + good + torn, 1, damaged);
    add("a frame longer than its block", start + good + in.enhanced(stamp, 200, 200, frame), 1, damaged);
    add("a frame beyond the limit", in.section() + in.interface("", 40) + in.enhanced(stamp, frame), 0,
        damaged);
    add("a short frame", start + good + in.block(6, std::string(16, '\0')), 1, damaged);
    add("a frame longer than any",
        in.section() + in.interface("", 1 << 20) + in.enhanced(stamp, std::string(300000, 'x')), 1, whole);
    addStamps(all, in);
}

} // namespace

std::vector<CaptureVariant> captureVariants()
{
    Variants all{
        {"nothing", "", 0, refused},
        {"text", "This is no capture file, and long enough for the header of one.\n", 0, refused},
        {"the first bytes of blocks", "\n\r\r\n, and then text goes on", 0, refused},
        {"compressed", "\x1F\x8B\x08 and so on, for as long as a header takes", 0, refused},
    };
    for (std::endian const order : {std::endian::little, std::endian::big}) {
        addClassic(all, order);
        addBlocks(all, order);
    }
    return all;
}

} // namespace test
