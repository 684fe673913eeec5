/* A qemu TCG plugin (linux-user mode, plugin API version 1) that counts the
 * guest instructions a program executes: a deterministic cost figure where
 * time under emulation means nothing.
 *
 *   qemu-arm -plugin insn_count.so[,symbols=N][,out=FILE] PROGRAM ...
 *
 * Prints "instructions: COUNT" when the program exits, to FILE when given, else
 * to stderr; with symbols=N also the N symbols of the program that executed the
 * most instructions.
 *
 * Debian ships no qemu-plugin.h, so the few entry points used here are
 * declared below as the 7.2 header has them. Built for the host:
 *   cc -shared -fPIC -O2 -o insn_count.so insn_count.c */
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
typedef struct qemu_info_t qemu_info_t;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
typedef void (*qemu_plugin_vcpu_tb_trans_cb_t)(qemu_plugin_id_t id, struct qemu_plugin_tb* tb);
typedef void (*qemu_plugin_udata_cb_t)(qemu_plugin_id_t id, void* userdata);

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, qemu_plugin_vcpu_tb_trans_cb_t cb);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, qemu_plugin_udata_cb_t cb, void* userdata);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* tb, enum qemu_plugin_op op,
                                              void* ptr, uint64_t imm);
void qemu_plugin_register_vcpu_insn_exec_inline(struct qemu_plugin_insn* insn,
                                                enum qemu_plugin_op op, void* ptr, uint64_t imm);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* tb);
struct qemu_plugin_insn* qemu_plugin_tb_get_insn(const struct qemu_plugin_tb* tb, size_t idx);
const char* qemu_plugin_insn_symbol(const struct qemu_plugin_insn* insn);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;

static uint64_t total;
static long symbolsShown;
static FILE* out;

/* Per-symbol counters, found by name; the symbol strings belong to qemu and
 * live as long as the program. A translated block adds its length to its own
 * symbol's counter, split where the symbol changes inside the block. */
struct SymbolCount {
    const char* name;
    uint64_t count;
};
static struct SymbolCount* symbols;
static size_t symbolCount;
static size_t symbolCapacity;

static struct SymbolCount* FindSymbol(const char* name) {
    for (size_t i = 0; i < symbolCount; ++i) {
        if (symbols[i].name == name || strcmp(symbols[i].name, name) == 0) return &symbols[i];
    }
    /* Translated code holds the counters' addresses, so the array is reserved
     * once and never moves; symbols past its end go unattributed. */
    if (symbolCount == symbolCapacity) return NULL;
    symbols[symbolCount].name = name;
    symbols[symbolCount].count = 0;
    return &symbols[symbolCount++];
}

static void OnTranslate(qemu_plugin_id_t id, struct qemu_plugin_tb* tb) {
    (void)id;
    const size_t n = qemu_plugin_tb_n_insns(tb);
    qemu_plugin_register_vcpu_tb_exec_inline(tb, QEMU_PLUGIN_INLINE_ADD_U64, &total, n);
    if (symbolsShown == 0) return;
    size_t start = 0;
    while (start < n) {
        struct qemu_plugin_insn* first = qemu_plugin_tb_get_insn(tb, start);
        const char* name = qemu_plugin_insn_symbol(first);
        if (name == NULL) name = "(unknown)";
        size_t end = start + 1;
        while (end < n) {
            const char* next = qemu_plugin_insn_symbol(qemu_plugin_tb_get_insn(tb, end));
            if (next == NULL) next = "(unknown)";
            if (next != name && strcmp(next, name) != 0) break;
            ++end;
        }
        struct SymbolCount* counter = FindSymbol(name);
        if (counter != NULL) {
            qemu_plugin_register_vcpu_insn_exec_inline(first, QEMU_PLUGIN_INLINE_ADD_U64,
                                                       &counter->count, end - start);
        }
        start = end;
    }
}

static int ByCountDescending(const void* a, const void* b) {
    const uint64_t x = ((const struct SymbolCount*)a)->count;
    const uint64_t y = ((const struct SymbolCount*)b)->count;
    return x < y ? 1 : (x > y ? -1 : 0);
}

static void OnExit(qemu_plugin_id_t id, void* userdata) {
    (void)id;
    (void)userdata;
    char line[512];
    snprintf(line, sizeof line, "instructions: %" PRIu64 "\n", total);
    fputs(line, out);
    if (symbolsShown > 0) {
        qsort(symbols, symbolCount, sizeof *symbols, ByCountDescending);
        for (size_t i = 0; i < symbolCount && i < (size_t)symbolsShown; ++i) {
            snprintf(line, sizeof line, "%14" PRIu64 " %5.1f%%  %s\n", symbols[i].count,
                     total ? 100.0 * (double)symbols[i].count / (double)total : 0.0,
                     symbols[i].name);
            fputs(line, out);
        }
    }
    if (out != stderr) fclose(out);
}

__attribute__((visibility("default"))) int qemu_plugin_install(qemu_plugin_id_t id,
                                                               const qemu_info_t* info, int argc,
                                                               char** argv) {
    (void)info;
    out = stderr;
    for (int i = 0; i < argc; ++i) {
        if (strncmp(argv[i], "symbols=", 8) == 0) {
            symbolsShown = strtol(argv[i] + 8, NULL, 10);
        } else if (strncmp(argv[i], "out=", 4) == 0) {
            out = fopen(argv[i] + 4, "w");
            if (out == NULL) {
                fprintf(stderr, "insn_count: cannot write %s\n", argv[i] + 4);
                return -1;
            }
        } else {
            fprintf(stderr, "insn_count: unknown option %s (symbols=N, out=FILE)\n", argv[i]);
            return -1;
        }
    }
    if (symbolsShown > 0) {
        symbolCapacity = 1 << 16;
        symbols = calloc(symbolCapacity, sizeof *symbols);
        if (symbols == NULL) return -1;
    }
    qemu_plugin_register_vcpu_tb_trans_cb(id, OnTranslate);
    qemu_plugin_register_atexit_cb(id, OnExit, NULL);
    return 0;
}
