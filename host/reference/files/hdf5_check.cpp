#include "host/reference/files/hdf5_check.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "host/ErrorIdException.h"

namespace hostref {

void raiseDamaged(const std::string& what) {
    raiseError("VELMAR:load:damaged", "The file is damaged: " + what + ".");
}

namespace {

constexpr std::uint64_t kNowhere = UINT64_MAX;

void require(bool holds, const char* what = "it isn't built as saved files are") {
    if (!holds) {
        raiseDamaged(what);
    }
}

static_assert(std::endian::native == std::endian::little, "numbers of the file are copied as they are");

/// A part of the file that is read from its start; little-endian numbers.
class Part {
 public:
    explicit Part(std::span<const std::byte> bytes) : mRest(bytes) {}

    std::size_t size() const { return mRest.size(); }
    std::span<const std::byte> bytes() const { return mRest; }
    Part part(std::uint64_t bytes) {
        require(bytes <= mRest.size());
        const Part taken(mRest.first(static_cast<std::size_t>(bytes)));
        mRest = mRest.subspan(static_cast<std::size_t>(bytes));
        return taken;
    }
    std::uint64_t number(std::size_t bytes) {
        const Part taken = part(bytes);
        std::uint64_t value = 0;
        std::memcpy(&value, taken.mRest.data(), bytes);
        return value;
    }
    void expect(std::size_t bytes, std::uint64_t value) { require(number(bytes) == value); }
    void expect(std::span<const std::uint8_t> bytes) {
        const Part taken = part(bytes.size());
        require(std::memcmp(taken.mRest.data(), bytes.data(), bytes.size()) == 0);
    }
    void expectEnd() const { require(mRest.empty()); }

 private:
    std::span<const std::byte> mRest;
};

/// A product of sizes, or nothing when it is beyond all files.
std::optional<std::uint64_t> product(std::uint64_t a, std::uint64_t b) {
    if (b != 0 && a > UINT64_MAX / b) {
        return std::nullopt;
    }
    return a * b;
}

/// The bytes of an element.
std::uint64_t checkDatatype(Part type) {
    enum : std::uint8_t { kVersion1 = 0x10, kInteger = 0, kFloat = 1, kText = 3 };
    const auto kind = static_cast<std::uint8_t>(type.number(1));
    const std::uint64_t bits = type.number(3);
    const std::uint64_t bytes = type.number(4);
    switch (kind) {
        case kVersion1 | kInteger:
            require(bytes == 1 || bytes == 2 || bytes == 4 || bytes == 8);
            require((bits & ~std::uint64_t{0x08}) == 0);
            type.expect(2, 0);
            type.expect(2, 8 * bytes);
            break;
        case kVersion1 | kFloat: {
            // IEEE, without and with implied first bit: places and lengths of sign, exponent and fraction.
            static constexpr std::uint8_t kSingle[] = {0, 0, 32, 0, 23, 8, 0, 23, 127, 0, 0, 0};
            static constexpr std::uint8_t kDouble[] = {0, 0, 64, 0, 52, 11, 0, 52, 0xFF, 3, 0, 0};
            require((bytes == 4 && bits == 0x1F20) || (bytes == 8 && bits == 0x3F20));
            type.expect(bytes == 4 ? std::span<const std::uint8_t>(kSingle) : kDouble);
            break;
        }
        case kVersion1 | kText: {
            constexpr std::uint64_t kUtf8AndNullPadded = 0x11;
            require(bits == kUtf8AndNullPadded && bytes > 0);
            break;
        }
        default:
            require(false);
    }
    type.expectEnd();
    return bytes;
}

/// The number of elements; the partial products of the dimensions fit as well.
std::uint64_t checkDataspace(Part space) {
    space.expect(1, 2);
    const std::uint64_t rank = space.number(1);
    const bool hasGreatest = space.number(1) == 1;
    const std::uint64_t type = space.number(1);
    require(type == (rank == 0 ? 0U : 1U) && rank <= 32 && space.size() == (hasGreatest ? 16U : 8U) * rank);
    std::array<std::uint64_t, 32> sizes = {};
    std::uint64_t count = 1;
    std::uint64_t countBesideZeros = 1;
    for (std::uint64_t& size : std::span(sizes).first(static_cast<std::size_t>(rank))) {
        size = space.number(8);
        const auto next = product(countBesideZeros, std::max<std::uint64_t>(size, 1));
        require(next.has_value());
        countBesideZeros = *next;
        count *= size;
    }
    for (std::uint64_t i = 0; hasGreatest && i < rank; ++i) {
        space.expect(8, sizes[i]);
    }
    space.expectEnd();
    return count;
}

void checkAttribute(Part attribute) {
    attribute.expect(1, 3);
    attribute.expect(1, 0);
    const std::uint64_t nameBytes = attribute.number(2);
    const std::uint64_t typeBytes = attribute.number(2);
    const std::uint64_t spaceBytes = attribute.number(2);
    require(attribute.number(1) <= 1 && nameBytes > 1);
    Part name = attribute.part(nameBytes);
    name.part(nameBytes - 1);
    name.expect(1, 0);
    const std::uint64_t bytes = checkDatatype(attribute.part(typeBytes));
    const auto all = product(checkDataspace(attribute.part(spaceBytes)), bytes);
    require(all == attribute.size());
}

class Checker {
 public:
    explicit Checker(std::span<const std::byte> file) : mFile(file) {}

    void check() {
        Part superblock = at(0, 48);
        superblock.expect(std::array<std::uint8_t, 8>{0x89, 'H', 'D', 'F', '\r', '\n', 0x1A, '\n'});
        superblock.expect(1, 2);
        superblock.expect(1, 8);
        superblock.expect(1, 8);
        superblock.expect(1, 0);
        superblock.expect(8, 0);
        superblock.expect(8, kNowhere);
        superblock.expect(8, mFile.size());
        const std::uint64_t root = superblock.number(8);
        checkSum(0, 44);
        mOpen.push_back(root);
        while (!mOpen.empty()) {
            const std::uint64_t address = mOpen.back();
            mOpen.pop_back();
            if (mHeaders.insert(address).second) {
                const bool isGroup = checkHeader(address);
                require(isGroup || address != root);
            }
        }
    }

 private:
    /// The contents of a header's messages.
    struct Header {
        int linkInfos = 0;
        int groupInfos = 0;
        int fillValues = 0;
        int attributeInfos = 0;
        int referenceCounts = 0;
        std::set<std::string_view> linkNames;
        std::vector<std::uint64_t> elementCounts;
        std::vector<std::uint64_t> elementBytes;
        std::vector<std::uint64_t> dataBytes;
        std::vector<Part> blocks;
    };

    Part at(std::uint64_t address, std::uint64_t bytes) const {
        require(address <= mFile.size() && bytes <= mFile.size() - address);
        return Part(mFile.subspan(static_cast<std::size_t>(address), static_cast<std::size_t>(bytes)));
    }
    Part from(std::uint64_t address) const {
        require(address <= mFile.size());
        return Part(mFile.subspan(static_cast<std::size_t>(address)));
    }

    /// If the library found a wrong checksum, it would release the file's parts only at the end of the process.
    void checkSum(std::uint64_t address, std::uint64_t bytes) const {
        Part summed = at(address, bytes + 4);
        const std::uint32_t sum = hdf5Checksum(summed.part(bytes).bytes());
        summed.expect(4, sum);
    }

    Header headerAt(std::uint64_t address) {
        Part start = from(address);
        start.expect(std::array<std::uint8_t, 5>{'O', 'H', 'D', 'R', 2});
        const std::uint64_t flags = start.number(1);
        require(flags <= 3);
        const std::size_t sizeBytes = std::size_t{1} << flags;
        const std::uint64_t bytes = start.number(sizeBytes);
        Header header;
        header.blocks.push_back(start.part(bytes));
        checkSum(address, 6 + sizeBytes + bytes);
        for (std::size_t i = 0; i < header.blocks.size(); ++i) {
            checkMessages(header.blocks[i], header);
        }
        return header;
    }

    /// Returns whether it is the header of a group, not of a dataset.
    bool checkHeader(std::uint64_t address) {
        const Header header = headerAt(address);
        require(header.attributeInfos <= 1 && header.referenceCounts <= 1);
        const bool isDataset = header.elementCounts.size() == 1 && header.elementBytes.size() == 1 &&
                               header.dataBytes.size() == 1 && header.fillValues == 1;
        if (isDataset) {
            require(header.linkInfos == 0 && header.groupInfos == 0 && header.linkNames.empty());
            require(product(header.elementCounts[0], header.elementBytes[0]) == header.dataBytes[0]);
        } else {
            require(header.linkInfos == 1 && header.groupInfos == 1 && header.elementCounts.empty() &&
                    header.elementBytes.empty() && header.dataBytes.empty() && header.fillValues == 0);
        }
        return !isDataset;
    }

    void checkMessages(Part messages, Header& header) {
        constexpr std::size_t kPrefixBytes = 4;
        while (messages.size() >= kPrefixBytes) {
            const std::uint64_t type = messages.number(1);
            const std::uint64_t bytes = messages.number(2);
            // Constant, and not to be shared; a shared message is elsewhere.
            constexpr std::uint64_t kHarmless = 0x05;
            require((messages.number(1) & ~kHarmless) == 0);
            checkMessage(type, messages.part(bytes), header);
        }
    }

    void checkMessage(std::uint64_t type, Part message, Header& header) {
        switch (type) {
            case 0x00:  // nil
                break;
            case 0x01:
                header.elementCounts.push_back(checkDataspace(message));
                break;
            case 0x02:
                ++header.linkInfos;
                checkLinkInfo(message);
                break;
            case 0x03:
                header.elementBytes.push_back(checkDatatype(message));
                break;
            case 0x05:  // fill value: none
                ++header.fillValues;
                message.expect(1, 3);
                require((message.number(1) & 0xE0U) == 0);
                message.expectEnd();
                break;
            case 0x06:
                checkLink(message, header);
                break;
            case 0x08:
                header.dataBytes.push_back(checkLayout(message));
                break;
            case 0x0A:
                ++header.groupInfos;
                checkGroupInfo(message);
                break;
            case 0x0C:
                checkAttribute(message);
                break;
            case 0x10: {
                const std::uint64_t address = message.number(8);
                const std::uint64_t bytes = message.number(8);
                message.expectEnd();
                require(bytes >= 8 && mBlocks.insert(address).second);
                Part block = at(address, bytes);
                block.expect(std::array<std::uint8_t, 4>{'O', 'C', 'H', 'K'});
                header.blocks.push_back(block.part(block.size() - 4));
                checkSum(address, bytes - 4);
                break;
            }
            case 0x15:  // attribute info: all of them stand in the header
                ++header.attributeInfos;
                message.expect(1, 0);
                message.expect(1, 0);
                message.expect(8, kNowhere);
                message.expect(8, kNowhere);
                message.expectEnd();
                break;
            case 0x16:  // reference count
                ++header.referenceCounts;
                message.expect(1, 0);
                require(message.number(4) > 0);
                message.expectEnd();
                break;
            default:
                require(false);
        }
    }

    /// All links are in the header, with the order in which they were made.
    static void checkLinkInfo(Part info) {
        info.expect(1, 0);
        info.expect(1, 3);
        require(info.number(8) <= UINT32_MAX);
        info.expect(8, kNowhere);
        info.expect(8, kNowhere);
        info.expect(8, kNowhere);
        info.expectEnd();
    }

    static void checkGroupInfo(Part info) {
        info.expect(1, 0);
        const std::uint64_t flags = info.number(1);
        require(flags <= 3);
        info.part((flags & 1U) != 0 ? 4 : 0);
        info.part((flags & 2U) != 0 ? 4 : 0);
        info.expectEnd();
    }

    void checkLink(Part link, Header& header) {
        link.expect(1, 1);
        const std::uint64_t flags = link.number(1);
        // A hard link with its order, with or without the character set.
        require((flags & ~std::uint64_t{0x13}) == 0x04);
        require(link.number(8) <= UINT32_MAX);
        if ((flags & 0x10U) != 0) {
            require(link.number(1) <= 1);
        }
        const std::uint64_t nameBytes = link.number(std::size_t{1} << (flags & 3U));
        require(nameBytes > 0);
        const Part name = link.part(nameBytes);
        const std::string_view text(reinterpret_cast<const char*>(name.bytes().data()), name.size());
        // The library reads a name up to its first zero.
        require(text.find('\0') == std::string_view::npos);
        require(header.linkNames.insert(text).second, "two parts of it have one name");
        mOpen.push_back(link.number(8));
        link.expectEnd();
    }

    /// The bytes of the elements, which are in the header or in one block.
    std::uint64_t checkLayout(Part layout) const {
        layout.expect(1, 3);
        const std::uint64_t kind = layout.number(1);
        require(kind <= 1);
        if (kind == 0) {
            const std::uint64_t bytes = layout.number(2);
            layout.part(bytes);
            layout.expectEnd();
            return bytes;
        }
        const std::uint64_t address = layout.number(8);
        const std::uint64_t bytes = layout.number(8);
        layout.expectEnd();
        if (bytes == 0) {
            require(address == kNowhere);
        } else {
            at(address, bytes);
        }
        return bytes;
    }

    std::span<const std::byte> mFile;
    std::vector<std::uint64_t> mOpen;
    std::set<std::uint64_t> mHeaders;
    std::set<std::uint64_t> mBlocks;
};

}  // namespace

std::uint32_t hdf5Checksum(std::span<const std::byte> bytes) {
    std::uint32_t a = 0xDEADBEEF + static_cast<std::uint32_t>(bytes.size());
    std::uint32_t b = a;
    std::uint32_t c = a;
    const auto take = [&] {
        std::array<std::uint32_t, 3> words = {};
        const std::size_t count = std::min(bytes.size(), sizeof words);
        std::memcpy(words.data(), bytes.data(), count);
        bytes = bytes.subspan(count);
        a += words[0];
        b += words[1];
        c += words[2];
    };
    while (bytes.size() > 12) {
        take();
        a = (a - c) ^ std::rotl(c, 4);
        c += b;
        b = (b - a) ^ std::rotl(a, 6);
        a += c;
        c = (c - b) ^ std::rotl(b, 8);
        b += a;
        a = (a - c) ^ std::rotl(c, 16);
        c += b;
        b = (b - a) ^ std::rotl(a, 19);
        a += c;
        c = (c - b) ^ std::rotl(b, 4);
        b += a;
    }
    if (!bytes.empty()) {
        take();
        c = (c ^ b) - std::rotl(b, 14);
        a = (a ^ c) - std::rotl(c, 11);
        b = (b ^ a) - std::rotl(a, 25);
        c = (c ^ b) - std::rotl(b, 16);
        a = (a ^ c) - std::rotl(c, 4);
        b = (b ^ a) - std::rotl(a, 14);
        c = (c ^ b) - std::rotl(b, 24);
    }
    return c;
}

void checkStructure(std::span<const std::byte> hdf5File) {
    Checker(hdf5File).check();
}

}  // namespace hostref
