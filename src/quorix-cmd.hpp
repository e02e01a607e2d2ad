// Command-line front end: run options, dispatch, help, inline text mode and one handler per command.
#pragma once

#include "quorix.hpp"

int quorix_cmd_start(int argc, char** argv);
QUORIX_CMD_OPT* quorix_cmd_opt_init(int argc, char** argv);
void quorix_cmd_opt_split_path(char** dir_out, char** name_out, const char* path);
void quorix_cmd_opt_get_type(char* dst, const char* src);
void quorix_cmd_opt_free(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_print(QUORIX_CMD_OPT* opt);
QUORIX_TEXT* quorix_cmd_opt_cat_tail(const QUORIX_CMD_OPT* opt);

void quorix_cmd_opt_do_print_version(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_print_help(QUORIX_CMD_OPT* opt);

// Structure and bond-valence commands.
void quorix_cmd_opt_do_print_cell(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_print_ppt(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_print_ppt_full(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_print_sym(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_print_cube(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gen_cif(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gen_cif_reduced(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gen_cif_p1(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gen_cif_assign(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gen_cif_assign_all(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gen_gin_lib(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gen_gin(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gen_cube(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_charge(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_bv(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_bv_gui(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_bv_type(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_gii(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_cn(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_cn_atom(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_cn_type(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_cn_bv(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_sym(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_tot_en(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_text_cal_bv(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_text_gen_gin_lib(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_text_gen_gin_lib_set_sf(QUORIX_CMD_OPT* opt);
// Oxidation states by bond valence, written as CIF; not in the help list.
void quorix_cmd_opt_do_gen_cif_os(QUORIX_CMD_OPT* opt);
// Standards-based import and space group (gemmi, spglib); not in the help list.
void quorix_cmd_opt_do_gen_cif_std(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_cal_sym_std(QUORIX_CMD_OPT* opt);

// Landscape and simulation commands.
void quorix_cmd_opt_do_rx_sd(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_rx_neb(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_rx_neb_images(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_fft(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_fft_cubes(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_fp_map(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gh(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_kmc(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_sites(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_md(QUORIX_CMD_OPT* opt);
// Beside the commands of the help list: molecular dynamics in eV with a
// thermostat that samples the target temperature, and the export for LAMMPS.
void quorix_cmd_opt_do_md_std(QUORIX_CMD_OPT* opt);
void quorix_cmd_opt_do_gen_lammps(QUORIX_CMD_OPT* opt);
