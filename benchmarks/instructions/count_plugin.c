/* A plugin for QEMU's emulators: counts the instructions of a program, and prints the sum at its end.
 *
 * Debian's emulators support plugins, but no package has the header. These are the declarations needed here, from
 * version 1 of the interface. */
#include <inttypes.h>
#include <stdint.h>
#include <stdio.h>

struct qemu_plugin_tb;

void qemu_plugin_register_vcpu_tb_trans_cb(uint64_t a_id, void (*a_callback)(uint64_t, struct qemu_plugin_tb*));
size_t qemu_plugin_tb_n_insns(const struct qemu_plugin_tb* a_block);
void qemu_plugin_register_vcpu_tb_exec_inline(struct qemu_plugin_tb* a_block, int a_operation, void* a_counter,
                                              uint64_t a_add);
void qemu_plugin_register_atexit_cb(uint64_t a_id, void (*a_callback)(uint64_t, void*), void* a_data);
void qemu_plugin_outs(const char* a_text);

__attribute__((visibility("default"))) extern int qemu_plugin_version;
int qemu_plugin_version = 1;

enum { ADD = 0 };

static uint64_t g_instructions;

/* Adds a block's instructions each time it runs. */
static void on_translation(uint64_t a_id, struct qemu_plugin_tb* a_block) {
  (void)a_id;
  qemu_plugin_register_vcpu_tb_exec_inline(a_block, ADD, &g_instructions, qemu_plugin_tb_n_insns(a_block));
}

static void on_exit_of_program(uint64_t a_id, void* a_data) {
  char text[64];
  (void)a_id;
  (void)a_data;
  snprintf(text, sizeof text, "instructions: %" PRIu64 "\n", g_instructions);
  qemu_plugin_outs(text);
}

__attribute__((visibility("default"))) int qemu_plugin_install(uint64_t a_id, const void* a_info, int a_argc,
                                                               char** a_argv);
int qemu_plugin_install(uint64_t a_id, const void* a_info, int a_argc, char** a_argv) {
  (void)a_info;
  (void)a_argc;
  (void)a_argv;
  qemu_plugin_register_vcpu_tb_trans_cb(a_id, on_translation);
  qemu_plugin_register_atexit_cb(a_id, on_exit_of_program, NULL);
  return 0;
}
