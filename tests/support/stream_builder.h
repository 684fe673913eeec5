// Writers for whole compressed frames on top of BitWriter: the picture header,
// macroblocks of intra and P pictures, TCOEF events, and seeded random pictures.
#ifndef VELTRANE_TESTS_STREAM_BUILDER_H
#define VELTRANE_TESTS_STREAM_BUILDER_H

#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <random>
#include <vector>

#include "entropy/code_tables.h"
#include "support/bit_writer.h"

namespace veltrane::test {

struct PictureFields {
    uint32_t version = 0;
    uint32_t temporalReference = 0;
    uint32_t sourceFormat = 0;         // 0: 8-bit sizes, 1: 16-bit sizes, 2..6 fixed, 7 reserved
    uint32_t width = 16, height = 16;  // written for source formats 0 and 1 only
    uint32_t pictureType = 0;          // 0 intra, 1 inter, 2 disposable inter, 3 no macroblock data
    uint32_t deblocking = 0;
    uint32_t quantiser = 1;
    std::vector<uint8_t> extra;  // extra-information bytes
};

// Header fields for a picture of width x height: the fixed source format when
// one matches, else the 8-bit or the 16-bit size fields.
inline PictureFields FieldsForSize(uint32_t width, uint32_t height, uint32_t pictureType = 0,
                                   uint32_t quantiser = 1, uint32_t version = 0) {
    static const uint32_t kFixed[5][2] = {
        {352, 288}, {176, 144}, {128, 96}, {320, 240}, {160, 120}};
    PictureFields f{version, 0,         width <= 255 && height <= 255 ? 0u : 1u,
                    width,   height,    pictureType,
                    0,       quantiser, {}};
    for (uint32_t i = 0; i < 5; ++i) {
        if (kFixed[i][0] == width && kFixed[i][1] == height) f.sourceFormat = i + 2;
    }
    return f;
}

inline int MacroblockCount(int width, int height) {
    return ((width + 15) / 16) * ((height + 15) / 16);
}

inline void WritePictureHeader(BitWriter& w, const PictureFields& f) {
    w.Put(1, 17).Put(f.version, 5).Put(f.temporalReference, 8).Put(f.sourceFormat, 3);
    if (f.sourceFormat == 0) {
        w.Put(f.width, 8).Put(f.height, 8);
    } else if (f.sourceFormat == 1) {
        w.Put(f.width, 16).Put(f.height, 16);
    }
    w.Put(f.pictureType, 2).Put(f.deblocking, 1).Put(f.quantiser, 5);
    for (uint8_t byte : f.extra) w.Put(1, 1).Put(byte, 8);
    w.Put(0, 1);
}

// One TCOEF event; LAST is set by the writer on the final event of a block.
struct Event {
    enum Form { kAuto, kEscapeShort, kEscapeLong };
    int run = 0;
    int level = 1;
    Form form = kAuto;  // kAuto: the VLC when one exists, else the shortest escape
};

// The TCOEF value coding (last, run, |level|), or -1 when only an escape can.
inline int TcoefIndex(int last, int run, int level) {
    const int magnitude = std::abs(level);
    for (int i = 0; i < kTcoefEscape; ++i) {
        if ((i >= kTcoefFirstLast) == (last != 0) && TcoefRunTable[i] == run &&
            TcoefLevelTable[i] == magnitude) {
            return i;
        }
    }
    return -1;
}

inline void WriteEvent(BitWriter& w, uint32_t version, int last, const Event& e) {
    const int index = e.form == Event::kAuto ? TcoefIndex(last, e.run, e.level) : -1;
    if (index >= 0) {
        w.Code(TcoefCodes, index).Put(e.level < 0 ? 1 : 0, 1);
        return;
    }
    w.Code(TcoefCodes, kTcoefEscape);
    unsigned levelBits = 8;
    if (version != 0) {
        const bool fitsShort = e.level >= -64 && e.level <= 63;
        const bool longForm =
            e.form == Event::kEscapeLong || (e.form == Event::kAuto && !fitsShort);
        levelBits = longForm ? 11 : 7;
        w.Put(longForm ? 1 : 0, 1);
    }
    w.Put(static_cast<uint32_t>(last), 1).Put(static_cast<uint32_t>(e.run), 6);
    w.Put(static_cast<uint32_t>(e.level) & ((1u << levelBits) - 1), static_cast<int>(levelBits));
}

inline void WriteEvents(BitWriter& w, uint32_t version, const std::vector<Event>& events) {
    for (size_t i = 0; i < events.size(); ++i) {
        WriteEvent(w, version, i + 1 == events.size() ? 1 : 0, events[i]);
    }
}

struct Vector {
    int x = 0, y = 0;
};

// One macroblock. A block is coded when it has events. For P-picture inter
// macroblocks `mvd` holds the vector differences as written (the first one, or
// all four for kInter4V).
struct Macroblock {
    enum Kind { kSkip, kInter, kInterQ, kInter4V, kIntra, kIntraQ };
    Kind kind = kIntra;
    int dquant = 0;  // the 2-bit field: 0..3 for -1, -2, +1, +2
    std::array<Vector, 4> mvd{};
    std::array<uint8_t, 6> dc{128, 128, 128, 128, 128, 128};  // INTRADC bytes as written
    std::array<std::vector<Event>, 6> blocks{};
    int stuffing = 0;  // stuffing codes written before the macroblock

    bool Intra() const { return kind == kIntra || kind == kIntraQ; }
    bool HasDquant() const { return kind == kInterQ || kind == kIntraQ; }
    int LumaBits() const {
        int bits = 0;
        for (int b = 0; b < 4; ++b) bits |= blocks[b].empty() ? 0 : 8 >> b;
        return bits;
    }
    int Cbpc() const { return (blocks[4].empty() ? 0 : 2) | (blocks[5].empty() ? 0 : 1); }
    int Type() const { return kind == kSkip ? 0 : kind - 1; }
};

// A stuffing code where a macroblock may begin (in a P picture behind COD 0).
inline BitWriter& PutStuffing(BitWriter& w, bool pPicture) {
    return pPicture ? w.Put(0, 1).Code(McbpcInterCodes, kMcbpcInterStuffing)
                    : w.Code(McbpcIntraCodes, kMcbpcIntraStuffing);
}

inline void WriteMacroblock(BitWriter& w, uint32_t version, bool pPicture, const Macroblock& mb) {
    for (int i = 0; i < mb.stuffing; ++i) PutStuffing(w, pPicture);
    if (pPicture) {
        if (mb.kind == Macroblock::kSkip) {
            w.Put(1, 1);
            return;
        }
        w.Put(0, 1).Code(McbpcInterCodes, mb.Type() * 4 + mb.Cbpc());
    } else {
        w.Code(McbpcIntraCodes, (mb.kind == Macroblock::kIntraQ ? 4 : 0) + mb.Cbpc());
    }
    // Inter macroblocks send the CBPY code of the complemented pattern.
    w.Code(CbpyCodes, mb.Intra() ? mb.LumaBits() : 15 - mb.LumaBits());
    if (mb.HasDquant()) w.Put(static_cast<uint32_t>(mb.dquant), 2);
    if (!mb.Intra()) {
        const int vectors = mb.kind == Macroblock::kInter4V ? 4 : 1;
        for (int k = 0; k < vectors; ++k) w.Code(MvdCodes, mb.mvd[k].x).Code(MvdCodes, mb.mvd[k].y);
    }
    for (int b = 0; b < 6; ++b) {
        if (mb.Intra()) w.Put(mb.dc[b], 8);
        WriteEvents(w, version, mb.blocks[b]);
    }
}

// A whole frame: header, then macroblocks, then zero bits up to a byte boundary.
class FrameWriter {
public:
    explicit FrameWriter(const PictureFields& fields) : fields_(fields) {
        WritePictureHeader(bits_, fields);
    }
    FrameWriter& Add(const Macroblock& mb) {
        WriteMacroblock(bits_, fields_.version, fields_.pictureType != 0, mb);
        return *this;
    }
    FrameWriter& Skip(int count = 1) {
        for (int i = 0; i < count; ++i) bits_.Put(1, 1);
        return *this;
    }
    BitWriter& bits() { return bits_; }
    std::vector<uint8_t> Bytes() {
        bits_.AlignZero();
        return bits_.bytes();
    }

private:
    PictureFields fields_;
    BitWriter bits_;
};

// A frame in a heap block of exactly its size, so that the sanitizer sees any
// read past its end.
class ExactFrame {
public:
    explicit ExactFrame(const std::vector<uint8_t>& bytes, size_t size = SIZE_MAX)
        : size_(std::min(size, bytes.size())), data_(new uint8_t[size_]) {
        std::copy_n(bytes.begin(), size_, data_.get());
    }
    const uint8_t* data() const { return data_.get(); }
    size_t size() const { return size_; }

private:
    size_t size_;
    std::unique_ptr<uint8_t[]> data_;
};

// Seeded random macroblock content: any MVD and any event list form a valid
// stream, so the pictures exercise every macroblock kind without hand-made data.
class RandomStream {
public:
    explicit RandomStream(uint32_t seed) : rng_(seed) {}

    int Uniform(int low, int high) { return std::uniform_int_distribution<int>(low, high)(rng_); }

    std::vector<Event> RandomEvents() {
        std::vector<Event> events;
        const int count = Uniform(1, 4);
        for (int i = 0; i < count; ++i) {
            Event e;
            // At most 4 events of runs up to 12 stay inside the 64 coefficients.
            e.run = Uniform(0, 3) == 0 ? Uniform(0, 12) : Uniform(0, 2);
            e.level = Uniform(1, 6) * (Uniform(0, 1) ? 1 : -1);
            if (Uniform(0, 9) == 0) {
                e.level = Uniform(-60, 60);
                e.form = Event::kEscapeShort;
            } else if (version_ != 0 && Uniform(0, 19) == 0) {
                e.level = Uniform(-1024, 1023);
                e.form = Event::kEscapeLong;
            }
            events.push_back(e);
        }
        return events;
    }

    Macroblock RandomMacroblock(bool pPicture) {
        Macroblock mb;
        // Percentages of the kinds, in the order of Macroblock::Kind.
        static const int kIntraShare[] = {0, 0, 0, 0, 80, 20}, kPShare[] = {25, 30, 10, 20, 10, 5};
        int pick = Uniform(0, 99), kind = 0;
        while (pick >= (pPicture ? kPShare : kIntraShare)[kind])
            pick -= (pPicture ? kPShare : kIntraShare)[kind++];
        mb.kind = static_cast<Macroblock::Kind>(kind);
        mb.dquant = Uniform(0, 3);
        for (Vector& v : mb.mvd) {
            v.x = Uniform(0, 3) == 0 ? Uniform(-32, 31) : Uniform(-3, 3);
            v.y = Uniform(0, 3) == 0 ? Uniform(-32, 31) : Uniform(-3, 3);
        }
        for (int b = 0; b < 6; ++b) {
            mb.dc[b] = static_cast<uint8_t>(Uniform(0, 255));
            if (Uniform(0, 2) == 0) mb.blocks[b] = RandomEvents();
        }
        mb.stuffing = Uniform(0, 19) == 0 ? 1 : 0;
        return mb;
    }

    // A whole picture of the fields' size (of type 3 the header alone).
    std::vector<uint8_t> Picture(const PictureFields& fields) {
        version_ = fields.version;
        FrameWriter frame(fields);
        const int count =
            fields.pictureType == 3 ? 0 : MacroblockCount(int(fields.width), int(fields.height));
        for (int i = 0; i < count; ++i) frame.Add(RandomMacroblock(fields.pictureType != 0));
        return frame.Bytes();
    }

private:
    std::mt19937 rng_;
    uint32_t version_ = 0;
};

}  // namespace veltrane::test

#endif
