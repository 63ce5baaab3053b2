/* The inside of capture: the search of its mode table. */
#ifndef ORKA_ICAPTURE_INTERNAL_H
#define ORKA_ICAPTURE_INTERNAL_H

#include <span>

#include "orka_icapture.h"

/*
 * Compares in upper case as far as the wanted name goes. 0 where the table's name ends there or goes on with
 * "_": "480i" means "480i_field" too. Otherwise -1 or 1, by the first characters that differ, and 1 where
 * none do.
 */
int mode_name_cmp(const char *table_mode, const char *wanted);

/*
 * Copies the row of a capture table that serves a request, which may be null, best; what was looked at on the
 * way is told as warnings. ORKA_STATUS_NULL_POINTER without out, ORKA_STATUS_ERROR for a table without rows.
 */
orka_status_t find_capture_params(orka_capture_params_t *out, const orka_display_request_t *request,
                                  std::span<const orka_capture_params_t> table);

#endif
