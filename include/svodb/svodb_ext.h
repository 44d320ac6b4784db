/*
 * svodb extensions for Linux and Windows: functions beyond the 98 of
 * svodb.h, exported by libsvodb.so and by both svodb.dll builds. A client
 * written for the 98 functions alone never needs them; a client that uses
 * them needs this library, not an older one.
 */
#ifndef SVODB_SVODB_EXT_H
#define SVODB_SVODB_EXT_H

#include "svodb/svodb.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Results of svodb_transport_status. */
#define SVODB_TRANSPORT_NOT_FOUND 0  /* no transport library could be loaded */
#define SVODB_TRANSPORT_LOADED 1     /* loaded, with every function */
#define SVODB_TRANSPORT_INCOMPLETE 2 /* loaded, but some functions are missing */

/* Room that holds any text of svodb_transport_status on a system whose
 * paths fit MAX_PATH; longer texts are cut to the size passed. */
#define SVODB_TRANSPORT_TEXT_SIZE 1024

/*
 * Why the online operations work or answer 0 ("No Response from drive"):
 * loads the transport library (CommSVODB.dll, libCommSVODB.so) if no
 * operation has done so yet and tells what became of it.
 *
 * The transport is looked for, in this order, beside the library's own
 * module (svodb.dll or libsvodb.so, wherever the client keeps it), in the
 * application's folder, and in the system folder (Windows) or through the
 * dynamic linker's search (Linux); on Windows never in the current folder
 * or PATH. On Linux a transport the client loaded itself comes first.
 *
 * Writes into text (at most size bytes, terminator included; nothing when
 * text is null or size is below 1): for SVODB_TRANSPORT_LOADED the path of
 * the library loaded; for SVODB_TRANSPORT_NOT_FOUND each place looked at
 * with the system's reason; for SVODB_TRANSPORT_INCOMPLETE the path and the
 * names of the functions it lacks (their operations answer 0).
 */
SVODB_API int32_t SVODB_CALL svodb_transport_status(char* text, int32_t size);

#ifdef __cplusplus
}
#endif

#endif /* SVODB_SVODB_EXT_H */
