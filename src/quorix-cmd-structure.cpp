// Handlers of the commands that read one structure and print or write something about it.
#include "quorix-cmd.hpp"

#include <cstdio>

void quorix_cmd_opt_do_print_cell(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_print_ppt(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_print_ppt_full(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_print_sym(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_print_cube(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_gen_cif(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_gen_cif_reduced(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_gen_cif_p1(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_gen_cif_assign(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_gen_cif_assign_all(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_gen_gin_lib(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_gen_gin(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_gen_cube(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_charge(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_bv(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_bv_gui(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_bv_type(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_gii(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_cn(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_cn_atom(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_cn_type(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_cn_bv(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_sym(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_cal_tot_en(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_text_cal_bv(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_text_gen_gin_lib(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_text_gen_gin_lib_set_sf(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }
