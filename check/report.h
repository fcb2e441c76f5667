// What firmpack-check prints after the tool's own lines: a summary per board,
// the findings (errors, then warnings) and the verdict, as text or as one JSON
// document.
// SPDX-License-Identifier: MIT
#pragma once

#include "check/check.h"

#include <cstdio>

void print_check_text(FILE* out, const pair_check& check, check_verdict verdict);
void print_check_json(FILE* out, const pair_check& check, check_verdict verdict);
