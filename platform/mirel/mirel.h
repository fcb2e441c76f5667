// SPDX-License-Identifier: MIT
/* Interface of the board's platform library libmirel.so.1, as the update tool
 * uses it. On the board the board's own library provides it; this folder holds
 * a development stand-in over POSIX shared memory. */
#ifndef MIREL_H
#define MIREL_H

#ifdef __cplusplus
extern "C" {
#endif

enum { MIREL_FIRMPACK_OS = 0, MIREL_FIRMPACK_APP = 1 };

/* Stores in *start the first byte of the selected firmpack, complete, read-only
 * and valid until the process ends. 0 on success, any other value otherwise. */
int mirel_sw_update_open_shm(int firmpack, void** start);

#ifdef __cplusplus
}
#endif

#endif
