/*
 * svodb on Linux: the message handlers a client lends the library, the clock
 * it may lend in place of the system's, the file label of an enumerated
 * value, and the lines of a parameter file as the library reads them.
 *
 * On Windows the library itself keeps the caller's window alive during long
 * operations (it handles one waiting message of the calling thread per
 * sample of GetParmMeanRMS_SVODB) and posts the progress of flash
 * programming to the window handle the caller passes. Linux has no window
 * system the library could assume, so it asks the client instead: a client
 * with an event loop registers two functions here, and the library calls
 * them where it would touch the message queue on Windows. Without them the
 * library handles no messages and posts nothing; every operation still runs
 * to its end and returns the same results.
 *
 * The handlers run on the thread that called into the library, in the
 * middle of that call; a handler that calls back into the library re-enters
 * it unguarded, as a dispatched window message does on Windows.
 *
 * This header and its functions exist in the Linux library only.
 */
#ifndef SVODB_SVODB_LINUX_H
#define SVODB_SVODB_LINUX_H

#include "svodb/svodb.h"

#ifndef _WIN32

#ifdef __cplusplus
extern "C" {
#endif

/* Handles at most one message waiting for the calling thread; returns
 * non-zero when it handled one, 0 when none was waiting. */
typedef int (*svodb_pump_handler)(void* context);

/* Delivers `message` with its two parameters to `window`, the handle the
 * client passed to the operation that posts (e.g. HandleISCFile_SVODB);
 * returns non-zero when the message was accepted. Must not block for long:
 * the library goes on with its work as soon as it returns. */
typedef int (*svodb_post_handler)(void* context, uintptr_t window, uint32_t message, uintptr_t wParam,
                                  intptr_t lParam);

/* Registers both handlers and the context passed to each call; either
 * handler may be null, and null for both removes them. A later call replaces
 * the earlier registration as a whole. */
SVODB_API void svodb_set_message_handlers(svodb_pump_handler pump, svodb_post_handler post, void* context);

/* Milliseconds from an arbitrary start, wrapping at 2^32 like the Windows
 * multimedia timer. */
typedef uint32_t (*svodb_now_handler)(void* context);
/* Pauses the calling thread for duration_ms milliseconds. */
typedef void (*svodb_sleep_handler)(void* context, uint32_t duration_ms);

/* Replaces the clock and the pause that the library's timed waits use (the
 * feedback device's write cycles and settle times, the flash's status
 * waits), e.g. with a virtual clock on which a pause returns at once and
 * time moves on by the amount paused, for a client that runs against a
 * virtual drive. Both handlers are needed; null for both restores the
 * system's clock and pauses. A later call replaces the earlier one. */
SVODB_API void svodb_set_clock_handlers(svodb_now_handler now, svodb_sleep_handler sleep, void* context);

/* The label a parameter file writes for `value` of the enumerated variable
 * `name` on the current node (as a rule the display label with underscores
 * for blanks) into label (SVODB_LABEL_SIZE bytes); returns 1, or 0 and
 * writes nothing when the value has no label. */
SVODB_API int32_t svodb_file_label(const char* name, int32_t value, char* label);

/* One line of a parameter file as the library's reader takes it. The texts
 * are NUL-terminated and valid only during the handler's call. */
enum svodb_file_line_kind {
  SVODB_LINE_SKIPPED = 0,   /* empty, white space only, or "#" first */
  SVODB_LINE_HEADER = 1,    /* one of the first four lines not skipped */
  SVODB_LINE_PARAMETER = 2, /* "name = value ..." after the header */
  SVODB_LINE_MALFORMED = 3  /* after the header, but no parameter line */
};

typedef struct svodb_file_line {
  int32_t number;    /* 1-based, as an editor counts lines */
  int32_t kind;      /* an svodb_file_line_kind */
  const char* text;  /* the line without its line end */
  const char* name;  /* a parameter's name, or a header line's first word; else "" */
  const char* value; /* a parameter's value word, or a header line's second word; else "" */
  const char* rest;  /* what follows the value (the unit column as written); else "" */
} svodb_file_line;

/* Returns non-zero to go on with the next line, 0 to stop. */
typedef int (*svodb_file_line_handler)(void* context, const svodb_file_line* line);

/* Reads a parameter file line by line as RDFromFileUser_SVODB reads it,
 * without loading anything, and hands each line to `each`. Returns 1 when
 * every line was handed over (or the handler stopped), 8 for a null path or
 * handler, 31 when the file cannot be opened, 32 at a line longer than a
 * parameter file's 255 characters (the lines before it were handed over). */
SVODB_API int32_t svodb_read_file_lines(const char* path, svodb_file_line_handler each, void* context);

#ifdef __cplusplus
}
#endif

#endif /* !_WIN32 */

#endif /* SVODB_SVODB_LINUX_H */
