/*
 * The transport library's interface: what svodb needs from the library that
 * owns the serial port or the MotoBus network connection. Anyone can write a
 * transport with this header; svodb loads it at run time as CommSVODB.dll on
 * Windows and libCommSVODB.so elsewhere.
 *
 * Types: every integer is 32-bit. Data bytes travel as int32_t (outputs
 * through int32_t*); svodb masks them to 8 bits and sign-handles them where
 * the drive's coding says so. Every operation that returns a code returns 1
 * for success and otherwise a code that svodb passes back to its caller
 * unchanged (0 "No Response from drive", 2 "No such communication port",
 * 4 "Wrong FPGA or EEPROM address in drive", 6 "Error reported from FPGA").
 *
 * The drive as svodb sees it: an FPGA register space of bytes 0-255 and an NV
 * memory of 256 entries, each a pair {FPGA register, data byte}.
 *
 * Calling convention: __stdcall on 32-bit Windows. There, four operations
 * are exported under their decorated names _InitMotoBus@32, _KillMotoBus@0,
 * _GetCommType@0 and _GetISPStatus@8; elsewhere every name is the plain C
 * name declared here.
 */
#ifndef SVODB_COMMSVODB_H
#define SVODB_COMMSVODB_H

#include <stdint.h>

#if defined(_WIN32) && !defined(_WIN64)
#define COMMSVODB_CALL __stdcall
#else
#define COMMSVODB_CALL
#endif

#if defined(COMMSVODB_BUILDING_LIBRARY) && defined(__GNUC__) && !defined(_WIN32)
#define COMMSVODB_API __attribute__((visibility("default")))
#else
#define COMMSVODB_API
#endif

/* Room for the version texts, terminator included. */
#define COMMSVODB_VERSION_SIZE 60

/* Connection types reported by GetCommType. */
#define COMMSVODB_SERIAL 1
#define COMMSVODB_NETWORK 2

#ifdef __cplusplus
extern "C" {
#endif

/* Opens serial port `port` at `baudRate`; port 0 closes the serial port. */
COMMSVODB_API int32_t COMMSVODB_CALL InitComPort(int32_t port, int32_t baudRate);

/* Opens the network connection. The eight arguments belong to the network
 * (svodb forwards them from its UsePort functions). */
COMMSVODB_API int32_t COMMSVODB_CALL InitMotoBus(int32_t a, int32_t b, int32_t extended, int32_t c, int32_t d,
                                                 int32_t e, int32_t f, int32_t g);

/* Closes the network connection. */
COMMSVODB_API int32_t COMMSVODB_CALL KillMotoBus(void);

/* The open connection: COMMSVODB_SERIAL, COMMSVODB_NETWORK, or any other
 * value for none. */
COMMSVODB_API int32_t COMMSVODB_CALL GetCommType(void);

/* Reads FPGA register `address` into *data. *second is a spare output that
 * svodb never uses. */
COMMSVODB_API int32_t COMMSVODB_CALL GetVarFromFPGA(int32_t address, int32_t* data, int32_t* second);

/* Writes `data` (0-255) to FPGA register `address`. */
COMMSVODB_API int32_t COMMSVODB_CALL PutVarToFPGA(int32_t address, int32_t data);

/* Reads NV entry `entry`: the FPGA register it belongs to and its data. */
COMMSVODB_API int32_t COMMSVODB_CALL GetVarFromEEPROM(int32_t entry, int32_t* fpgaRegister, int32_t* data);

/* Rewrites NV entry `entry` whole: register and data. */
COMMSVODB_API int32_t COMMSVODB_CALL PutVarToEEPROM(int32_t entry, int32_t fpgaRegister, int32_t data);

/* Erases NV entry `entry`. 2 means "busy, try once more". */
COMMSVODB_API int32_t COMMSVODB_CALL NVEraseUnit(int32_t entry);

/* Discards what the port holds; svodb ignores the result. */
COMMSVODB_API int32_t COMMSVODB_CALL FlushPort(void);

/* Switches the link between 19200 and 115200 baud. */
COMMSVODB_API int32_t COMMSVODB_CALL ChangeBaudRate(int32_t baudRate);

/* Sends one byte of the configuration-flash programming stream; *status is
 * the drive's answer. */
COMMSVODB_API int32_t COMMSVODB_CALL SendISPByte(int32_t byte, int32_t* status);

/* Waits up to timeout_ms for the programming status byte. */
COMMSVODB_API int32_t COMMSVODB_CALL GetISPStatus(int32_t* status, int32_t timeout_ms);

/* Sets the transport's pause between polls; the result is the transport's. */
COMMSVODB_API int32_t COMMSVODB_CALL ChangeGetSleepTime(int32_t value);

/* Writes the number of axes the network supports into *axes and returns a
 * code; svodb forwards argument and result unchanged. */
COMMSVODB_API int32_t COMMSVODB_CALL GetMaxNumMotoBusAxes(int32_t* axes);

/* Write the transport's own version text (at most 45 characters, so svodb
 * can append its own) and the network library's version text (at most 59
 * characters) into `text`, which holds COMMSVODB_VERSION_SIZE bytes. */
COMMSVODB_API void COMMSVODB_CALL CommSVODBVersion(char* text);
COMMSVODB_API void COMMSVODB_CALL CommNCLVersion(char* text);

#ifdef __cplusplus
}
#endif

#endif /* SVODB_COMMSVODB_H */
