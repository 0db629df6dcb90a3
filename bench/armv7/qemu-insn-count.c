/*
 * A qemu TCG plugin (user mode) that counts executed guest instructions, by
 * class and by function, for the armv7 estimate:
 *
 *   qemu-arm -L /usr/arm-linux-gnueabihf -plugin ./libinsncount.so,out=FILE PROGRAM ARGS
 *
 * Each translated block gets one inline counter; its instructions are
 * classified once, when it is translated, from their disassembly. At exit
 * FILE receives "class NAME COUNT" and "symbol NAME COUNT" lines (counts are
 * executed instructions).
 *
 * Only the plugin API entry points used here are declared (API version 1, as
 * in qemu 7.x); no header of qemu's is needed.
 */
#include <stdbool.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

typedef uint64_t qemu_plugin_id_t;
struct qemu_plugin_tb;
struct qemu_plugin_insn;
typedef struct {
  const char* target_name;
  struct {
    int min, cur;
  } version;
  bool system_emulation;
} qemu_info_t;
enum qemu_plugin_op { QEMU_PLUGIN_INLINE_ADD_U64 };
typedef void (*tb_trans_cb)(qemu_plugin_id_t, struct qemu_plugin_tb*);
typedef void (*udata_cb)(qemu_plugin_id_t, void*);

void qemu_plugin_register_vcpu_tb_trans_cb(qemu_plugin_id_t id, tb_trans_cb cb);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* tb, enum qemu_plugin_op op,
                                              void* ptr, uint64_t imm);
void qemu_plugin_register_atexit_cb(qemu_plugin_id_t id, udata_cb cb, void* userdata);
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* tb);
struct qemu_plugin_insn* qemu_plugin_tb_get_insn(const struct qemu_plugin_tb* tb, size_t idx);
char* qemu_plugin_insn_disas(const struct qemu_plugin_insn* insn);
const char* qemu_plugin_insn_symbol(const struct qemu_plugin_insn* insn);

__attribute__((visibility("default"))) int qemu_plugin_version = 1;

enum {
  C_NEON_Q,    /* Advanced SIMD on 128-bit q registers */
  C_NEON_D,    /* Advanced SIMD / VFP on 64-bit d registers */
  C_VFP_S,     /* scalar single-precision VFP (s registers) */
  C_VDIV,      /* vdiv: not pipelined */
  C_VSQRT,     /* vsqrt: not pipelined */
  C_VLDST,     /* vld1/vst1/vldr/vstr/vldm/vstm/vpush/vpop */
  C_VMOV_CORE, /* vmov between core and SIMD registers */
  C_LDST,      /* integer loads and stores */
  C_BRANCH,
  C_INT, /* other integer instructions */
  C_COUNT
};
static const char* const class_names[C_COUNT] = {
    "neon_q",          "neon_d",         "vfp_s",      "vdiv",   "vsqrt",
    "simd_load_store", "vmov_core_simd", "load_store", "branch", "integer"};

static int classify(const char* dis) {
  char mnemonic[32];
  size_t i = 0;
  while (dis[i] == ' ' || dis[i] == '\t') ++dis;
  while (dis[i] && dis[i] != ' ' && dis[i] != '\t' && i + 1 < sizeof mnemonic) {
    mnemonic[i] = dis[i];
    ++i;
  }
  mnemonic[i] = 0;
  const char* ops = dis + i;
  if (mnemonic[0] == 'v') {
    if (!strncmp(mnemonic, "vdiv", 4)) return C_VDIV;
    if (!strncmp(mnemonic, "vsqrt", 5)) return C_VSQRT;
    if (!strncmp(mnemonic, "vld", 3) || !strncmp(mnemonic, "vst", 3) ||
        !strncmp(mnemonic, "vpush", 5) || !strncmp(mnemonic, "vpop", 4))
      return C_VLDST;
    if (!strncmp(mnemonic, "vmov", 4) || !strncmp(mnemonic, "vmrs", 4) ||
        !strncmp(mnemonic, "vmsr", 4)) {
      /* a core register operand: r0..r12, sb, sl, fp, ip, sp, lr, apsr */
      const char* p = ops;
      while ((p = strpbrk(p, "rsfila")) != NULL) {
        if ((p[0] == 'r' && p[1] >= '0' && p[1] <= '9') || !strncmp(p, "sb", 2) ||
            !strncmp(p, "sl", 2) || !strncmp(p, "fp", 2) || !strncmp(p, "ip", 2) ||
            !strncmp(p, "lr", 2) || !strncmp(p, "apsr", 4)) {
          if (p == ops || p[-1] == ' ' || p[-1] == ',') return C_VMOV_CORE;
        }
        ++p;
      }
    }
    for (const char* p = ops; *p; ++p) {
      if (*p == 'q' && p[1] >= '0' && p[1] <= '9') return C_NEON_Q;
    }
    for (const char* p = ops; *p; ++p) {
      if (*p == 'd' && p[1] >= '0' && p[1] <= '9') return C_NEON_D;
    }
    return C_VFP_S;
  }
  if (!strncmp(mnemonic, "ldr", 3) || !strncmp(mnemonic, "str", 3) ||
      !strncmp(mnemonic, "ldm", 3) || !strncmp(mnemonic, "stm", 3) ||
      !strncmp(mnemonic, "push", 4) || !strncmp(mnemonic, "pop", 3) || !strncmp(mnemonic, "pld", 3))
    return C_LDST;
  if (mnemonic[0] == 'b' && strncmp(mnemonic, "bic", 3) && strncmp(mnemonic, "bfi", 3) &&
      strncmp(mnemonic, "bfc", 3))
    return C_BRANCH;
  if (!strncmp(mnemonic, "cbz", 3) || !strncmp(mnemonic, "cbnz", 4)) return C_BRANCH;
  return C_INT;
}

struct block {
  uint64_t executed;
  const char* symbol;
  uint32_t insns;
  uint32_t per_class[C_COUNT];
  struct block* next;
};

static struct block* blocks;
static char out_path[4096] = "insn-count.txt";

static void on_translate(qemu_plugin_id_t id, struct qemu_plugin_tb* tb) {
  (void)id;
  struct block* b = calloc(1, sizeof *b);
  const size_t n = qemu_plugin_tb_n_insns(tb);
  b->insns = (uint32_t)n;
  for (size_t i = 0; i < n; ++i) {
    struct qemu_plugin_insn* insn = qemu_plugin_tb_get_insn(tb, i);
    if (i == 0) b->symbol = qemu_plugin_insn_symbol(insn);
    char* dis = qemu_plugin_insn_disas(insn);
    b->per_class[dis ? classify(dis) : C_INT]++;
    free(dis);
  }
  b->next = blocks;
  blocks = b;
  qemu_plugin_register_vcpu_tb_exec_inline(tb, QEMU_PLUGIN_INLINE_ADD_U64, &b->executed, 1);
}

struct symbol_total {
  const char* name;
  uint64_t count;
};

static int by_count(const void* a, const void* b) {
  const uint64_t x = ((const struct symbol_total*)a)->count;
  const uint64_t y = ((const struct symbol_total*)b)->count;
  return x < y ? 1 : x > y ? -1 : 0;
}

static void on_exit_cb(qemu_plugin_id_t id, void* userdata) {
  (void)id;
  (void)userdata;
  uint64_t total = 0, per_class[C_COUNT] = {0};
  size_t symbols = 0, capacity = 256;
  struct symbol_total* sym = calloc(capacity, sizeof *sym);
  for (struct block* b = blocks; b; b = b->next) {
    if (!b->executed) continue;
    total += b->executed * b->insns;
    for (int c = 0; c < C_COUNT; ++c) per_class[c] += b->executed * b->per_class[c];
    const char* name = b->symbol ? b->symbol : "?";
    size_t k = 0;
    while (k < symbols && strcmp(sym[k].name, name)) ++k;
    if (k == symbols) {
      if (symbols == capacity) {
        capacity *= 2;
        sym = realloc(sym, capacity * sizeof *sym);
      }
      sym[symbols].name = name;
      sym[symbols].count = 0;
      ++symbols;
    }
    sym[k].count += b->executed * b->insns;
  }
  qsort(sym, symbols, sizeof *sym, by_count);
  FILE* f = fopen(out_path, "w");
  if (!f) return;
  fprintf(f, "total %llu\n", (unsigned long long)total);
  for (int c = 0; c < C_COUNT; ++c)
    fprintf(f, "class %s %llu\n", class_names[c], (unsigned long long)per_class[c]);
  for (size_t k = 0; k < symbols; ++k)
    fprintf(f, "symbol %s %llu\n", sym[k].name, (unsigned long long)sym[k].count);
  fclose(f);
  free(sym);
}

__attribute__((visibility("default"))) int qemu_plugin_install(qemu_plugin_id_t id,
                                                               const qemu_info_t* info, int argc,
                                                               char** argv) {
  (void)info;
  for (int i = 0; i < argc; ++i) {
    if (!strncmp(argv[i], "out=", 4)) {
      strncpy(out_path, argv[i] + 4, sizeof out_path - 1);
    }
  }
  qemu_plugin_register_vcpu_tb_trans_cb(id, on_translate);
  qemu_plugin_register_atexit_cb(id, on_exit_cb, NULL);
  return 0;
}
