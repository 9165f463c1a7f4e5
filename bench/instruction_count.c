// A qemu plugin that counts the guest instructions a whole process executes,
// framework and emulator included: every translated block adds its length
// to one counter each time it runs, by an inline add, so the count costs
// qemu one memory add per block. At exit the total is written to the file
// named by the plugin's argument, or to stderr:
//   qemu-aarch64 -plugin libinstruction_count.so,out=OUT PROGRAM
// or, through a launcher, QEMU_PLUGIN=libinstruction_count.so,out=OUT.
// Threads of the guest add to the one counter without a lock; qemu runs
// them in parallel, so a threaded program's count may come out a little
// short. Single-threaded programs are counted exactly.
#include <inttypes.h>
#include <qemu-plugin.h>
#include <stdio.h>
#include <string.h>

QEMU_PLUGIN_EXPORT int qemu_plugin_version = QEMU_PLUGIN_VERSION;

static uint64_t executed;
static char out_path[4096];

static void on_translate(qemu_plugin_id_t id, struct qemu_plugin_tb* tb) {
  (void)id;
  qemu_plugin_register_vcpu_tb_exec_inline(tb, QEMU_PLUGIN_INLINE_ADD_U64, &executed, qemu_plugin_tb_n_insns(tb));
}

static void on_exit(qemu_plugin_id_t id, void* data) {
  (void)id, (void)data;
  FILE* f = out_path[0] ? fopen(out_path, "w") : stderr;
  if (!f) {
    fprintf(stderr, "instruction_count: cannot write %s\n", out_path);
    return;
  }
  fprintf(f, "%" PRIu64 "\n", executed);
  if (f != stderr) fclose(f);
}

QEMU_PLUGIN_EXPORT int qemu_plugin_install(qemu_plugin_id_t id, const qemu_info_t* info, int argc, char** argv) {
  (void)info;
  for (int i = 0; i < argc; ++i) {
    if (strncmp(argv[i], "out=", 4) != 0 || strlen(argv[i] + 4) >= sizeof out_path) {
      fprintf(stderr, "instruction_count: unknown argument %s (takes out=PATH)\n", argv[i]);
      return -1;
    }
    strcpy(out_path, argv[i] + 4);
  }
  qemu_plugin_register_vcpu_tb_trans_cb(id, on_translate);
  qemu_plugin_register_atexit_cb(id, on_exit, NULL);
  return 0;
}
