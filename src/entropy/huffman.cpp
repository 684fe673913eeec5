// Decode trees built from the static code tables. A node is 256 entries indexed
// by the next 8 bits; a code of L = 8k + r bits passes k child links and owns
// 2^(8-r) consecutive entries of the node it ends in.
#include "entropy/huffman.h"

#include "veltrane/support.h"

namespace {

constexpr uint32_t kNodeEntries = 256;
constexpr uint32_t kNodeBytes = kNodeEntries * sizeof(HuffDecodeEntry_t);

HuffDecodeEntry_t* NewNode(CVeltraneSupport* support) {
    return static_cast<HuffDecodeEntry_t*>(support->QXAllocPtrSet(kNodeBytes, 0));
}

}  // namespace

int BuildHuffDecodeTable(DecodeInstance_t* decoder, const int16_t* codeTable, void** root) {
    CVeltraneSupport* support = decoder->support;
    HuffDecodeEntry_t* tree = NewNode(support);
    if (tree == nullptr) {
        return 1;
    }
    const int count = codeTable[0];
    const int firstValue = codeTable[1];
    for (int i = 0; i < count; ++i) {
        const int length = codeTable[2 + 2 * i];
        const auto bits = static_cast<uint32_t>(static_cast<uint16_t>(codeTable[3 + 2 * i]));
        int whole = length / 8;
        int rest = length % 8;
        if (rest == 0) {
            rest = 8;
            --whole;
        }
        HuffDecodeEntry_t* node = tree;
        for (int j = 0; j < whole; ++j) {
            const uint32_t group = (bits >> (rest + 8 * (whole - 1 - j))) & 0xFF;
            HuffDecodeEntry_t& entry = node[group];
            if (entry.next == nullptr) {
                entry.next = NewNode(support);
                if (entry.next == nullptr) {
                    FreeHuffDecodeTable(decoder, tree);
                    return 1;
                }
            }
            node = entry.next;
        }
        const uint32_t lastBits = bits & ((1u << rest) - 1);
        const uint32_t first = lastBits << (8 - rest);
        const uint32_t end = (lastBits + 1) << (8 - rest);
        for (uint32_t k = first; k < end; ++k) {
            node[k].value = firstValue + i;
            node[k].length = length;
        }
    }
    *root = tree;
    return 0;
}

void FreeHuffDecodeTable(DecodeInstance_t* decoder, void* node) {
    auto* entries = static_cast<HuffDecodeEntry_t*>(node);
    // Most entries have no child: four are looked at with one test.
    for (uint32_t i = 0; i < kNodeEntries; i += 4) {
        const uintptr_t any = reinterpret_cast<uintptr_t>(entries[i].next) |
                              reinterpret_cast<uintptr_t>(entries[i + 1].next) |
                              reinterpret_cast<uintptr_t>(entries[i + 2].next) |
                              reinterpret_cast<uintptr_t>(entries[i + 3].next);
        if (any == 0) {
            continue;
        }
        for (uint32_t k = i; k < i + 4; ++k) {
            if (entries[k].next != nullptr) {
                FreeHuffDecodeTable(decoder, entries[k].next);
            }
        }
    }
    decoder->support->QXFreePtr(node);
}
