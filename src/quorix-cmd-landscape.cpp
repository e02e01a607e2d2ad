// Handlers of the relaxation, landscape-analysis and simulation commands.
#include "quorix-cmd.hpp"

#include <cstdio>

void quorix_cmd_opt_do_rx_sd(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_rx_neb(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_rx_neb_images(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_fft(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_fft_cubes(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_fp_map(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_gh(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_kmc(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_sites(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }

void quorix_cmd_opt_do_md(QUORIX_CMD_OPT*) { std::fprintf(stderr, "Error: not implemented yet.\n"); }
