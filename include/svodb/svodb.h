/*
 * svodb: the parameter database of the servo drive family, as a flat C
 * interface.
 *
 * Conventions for every function below:
 *  - Integers are 32-bit, engineering values 64-bit doubles, yes/no answers
 *    one-byte booleans.
 *  - Texts are zero-terminated 8-bit strings. Every text result is copied,
 *    terminator included, into a buffer the caller owns; no length is passed,
 *    so the caller must provide at least the size given for each function.
 *    The library never allocates memory the caller must free.
 *  - A function that can fail returns a result code: 1 is success, any other
 *    value is turned into English by ErrorMessage_SVODB.
 *  - A null pointer argument never crashes: a query answers false and a
 *    code-returning function returns a failure code; nothing is written.
 *  - The library is used from one thread at a time.
 *
 * On 32-bit Windows every function uses __stdcall, and nine functions are
 * exported only under their decorated names (for example
 * _GetStringOnline_SVODB@12); elsewhere all names are the plain C names.
 */
#ifndef SVODB_SVODB_H
#define SVODB_SVODB_H

#include <stdint.h>

#ifndef __cplusplus
#include <stdbool.h>
#endif

#if defined(_WIN32) && !defined(_WIN64)
#define SVODB_CALL __stdcall
#else
#define SVODB_CALL
#endif

#if defined(SVODB_BUILDING_LIBRARY) && defined(__GNUC__) && !defined(_WIN32)
#define SVODB_API __attribute__((visibility("default")))
#else
#define SVODB_API
#endif

/* Buffer sizes, terminator included. */
#define SVODB_NAME_SIZE 19          /* variable names */
#define SVODB_MESSAGE_SIZE 120      /* ErrorMessage_SVODB */
#define SVODB_UNIT_SIZE 14          /* unit texts */
#define SVODB_VERSION_SIZE 60       /* DLLVersion_SVODB, NCLVersion_SVODB */
#define SVODB_COMPILE_TIME_SIZE 21  /* DLLCompileTime_SVODB */

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Library identity -------------------------------------------------- */

/* The library's build date and time, "Mmm dd yyyy hh:mm:ss" (20 characters);
 * text needs SVODB_COMPILE_TIME_SIZE bytes. */
SVODB_API void SVODB_CALL DLLCompileTime_SVODB(char* text);

/* The transport's version text, " and ", then this library's version
 * "1.60.0000"; text needs SVODB_VERSION_SIZE bytes. Without a transport
 * library the transport's part is empty. */
SVODB_API void SVODB_CALL DLLVersion_SVODB(char* text);

/* The version of the network library the transport uses; text needs
 * SVODB_VERSION_SIZE bytes. Empty without a transport library. */
SVODB_API void SVODB_CALL NCLVersion_SVODB(char* text);

/* ---- Connection -------------------------------------------------------- */
/* The transport library (libCommSVODB.so, CommSVODB.dll) is loaded at the
 * first call that needs it. Without it every offline function still works and
 * every function that needs the drive returns 0 ("No Response from drive"). */

/* Opens the drive connection: connectionType 1 the serial port `port` at
 * `baudRate`, 2 the network (A, B and E go to the network, port and baud rate
 * are unused). Returns the transport's code, or 3 for any other type. */
SVODB_API int32_t SVODB_CALL UsePort(int32_t port, int32_t baudRate, int32_t connectionType, int32_t a, int32_t b,
                                     int32_t e);

/* As UsePort, with the network's arguments C and D used when `extended` is
 * non-zero. */
SVODB_API int32_t SVODB_CALL UsePort2(int32_t port, int32_t baudRate, int32_t connectionType, int32_t a, int32_t b,
                                      uint8_t extended, int32_t c, int32_t d);

/* As UsePort2, with the network's arguments E, F and G as well. */
SVODB_API int32_t SVODB_CALL UsePort3(int32_t port, int32_t baudRate, int32_t connectionType, int32_t a, int32_t b,
                                      uint8_t extended, int32_t c, int32_t d, int32_t e, int32_t f, int32_t g);

/* Closes the open connection; 1 when nothing is open. */
SVODB_API int32_t SVODB_CALL ClosePort(void);

/* Passes the transport's poll pause through; returns the transport's result.
 * Exported on 32-bit Windows as _ChangeGetSleepTime_SVODB@4. */
SVODB_API int32_t SVODB_CALL ChangeGetSleepTime_SVODB(int32_t value);

/* The number of network axes the transport supports, into *axes; returns
 * the transport's result (8 for a null pointer). */
SVODB_API int32_t SVODB_CALL GetMaxNumMotoBusAxes_SVODB(int32_t* axes);

/* Makes node 0 (the connected drive) or 1-6 (offline images) current for the
 * offline functions; 23 for any other node. */
SVODB_API int32_t SVODB_CALL SetNode_SVODB(int32_t node);

/* Makes offline node 0-6 an image of a logic-version-3 drive; 23 above 6. */
SVODB_API int32_t SVODB_CALL SetupOfflineNode_SVODB(int32_t node);

/* Does nothing and returns 1 (kept for callers that reset the drive). */
SVODB_API int32_t SVODB_CALL Reset_Drive(void);

/* Raw access, straight through to the transport with no node, model or range
 * handling. The outputs carry no meaning unless the result is 1; a null
 * output pointer gives 8. */
SVODB_API int32_t SVODB_CALL ReadUnitFPGA_SVODB(int32_t fpgaAddress, int32_t* data);
SVODB_API int32_t SVODB_CALL WriteUnitFPGA_SVODB(int32_t fpgaAddress, int32_t data);
SVODB_API int32_t SVODB_CALL ReadUnitEEPROM_SVODB(int32_t nvEntry, int32_t* fpgaRegister, int32_t* data);
SVODB_API int32_t SVODB_CALL WriteUnitEEPROM_SVODB(int32_t nvEntry, int32_t fpgaRegister, int32_t data);

/* ---- Variable catalogue ------------------------------------------------ */
/* Names are matched without regard to case unless a function says otherwise. */

/* The number of variables in the catalogue (159). */
SVODB_API int32_t SVODB_CALL GetVarNum_SVODB(void);

/* Copies the name at a 1-based catalogue position (1-159) into name
 * (SVODB_NAME_SIZE bytes); false for any other position. */
SVODB_API bool SVODB_CALL GetVarName_SVODB(int32_t position, char* name);

/* Copies the catalogue's own spelling of name into stdName (SVODB_NAME_SIZE
 * bytes); false for an unknown name. */
SVODB_API bool SVODB_CALL GetStdVarName_SVODB(const char* name, char* stdName);

/* Whether the variable is read-only (*value 0 or 1); false for an unknown
 * name. Asked with exactly "Command", the answer follows the connection:
 * writable on a serial port, read-only on the network, and stays so. */
SVODB_API bool SVODB_CALL ReadOnly_SVODB(const char* name, uint8_t* value);

/* Whether the variable is offered to the user on the present connection.
 * False (and *value 0) for an unknown name or when nothing is connected. */
SVODB_API bool SVODB_CALL ForUser_SVODB(const char* name, uint8_t* value);

/* Whether the variable is a user parameter kept in NV memory that the
 * connected drive's logic version has. True for any known name; *value is 0
 * when the drive's logic version cannot be read. */
SVODB_API bool SVODB_CALL UserNVPara_SVODB(const char* name, uint8_t* value);

/* Whether the variable is a manufacturing parameter kept in NV memory that
 * the connected drive's logic version has. False for an unknown name or when
 * the drive's logic version cannot be read. */
SVODB_API bool SVODB_CALL MfgNVPara_SVODB(const char* name, uint8_t* value);

/* Whether the variable is a status variable; false for an unknown name. */
SVODB_API bool SVODB_CALL StatVar_SVODB(const char* name, uint8_t* value);

/* Whether the variable is a motor parameter that can come from the motor's
 * feedback device; false for an unknown name. */
SVODB_API bool SVODB_CALL TRXSelect_SVODB(const char* name, uint8_t* value);

/* Whether the variable cannot change while the drive is enabled; false for
 * an unknown name. */
SVODB_API bool SVODB_CALL EnabledUnchange_SVODB(const char* name, uint8_t* value);

/* ---- Drive identity and operating mode ---------------------------------- */
/* Modes: 0 torque (current), 1 velocity. The functions without "Online" work
 * on the current node (SetNode_SVODB); node 0 is the connected drive's image. */

/* The node's model code (31 at load); returns 1, or 8 for a null pointer. */
SVODB_API int32_t SVODB_CALL GetModel_SVODB(int32_t* model);
/* Stores any model code as the node's; returns 1. */
SVODB_API int32_t SVODB_CALL SetModel_SVODB(int32_t model);
/* Reads the connected drive's model code and keeps it for node 0. */
SVODB_API int32_t SVODB_CALL GetModelOnline_SVODB(int32_t* model);
/* 1 when the node's model is the connected drive's, 9 when it is not. */
SVODB_API int32_t SVODB_CALL CKModel_SVODB(void);
/* Derives the node's mode from its stored OpMode and S2-1, keeps and outputs
 * it; 23 when they give no mode. */
SVODB_API int32_t SVODB_CALL GetMode_SVODB(int32_t* mode);
/* Stores the node's OpMode (0 torque, 1 velocity, 2 follow S2-1, 3 position)
 * and derives its mode. */
SVODB_API int32_t SVODB_CALL SetOpMode_SVODB(int32_t opMode);
/* Reads OpMode and SetupS2-1 from the drive and keeps the derived mode. */
SVODB_API int32_t SVODB_CALL GetModeOnline_SVODB(int32_t* mode);
/* As GetModeOnline_SVODB, but OpMode 3 is reported as 2 (position). The
 * drive's command units stay velocity. Exported on 32-bit Windows as
 * _GetModeOnline_GUI_SVODB@4. */
SVODB_API int32_t SVODB_CALL GetModeOnline_GUI_SVODB(int32_t* mode);
/* Writes OpMode to the drive and keeps the derived mode. */
SVODB_API int32_t SVODB_CALL SetOpModeOnline_SVODB(int32_t opMode);
/* The node's setup switch S2-1; returns 1. */
SVODB_API int32_t SVODB_CALL GetSetupS21_SVODB(int32_t* setupS21);
/* Stores the node's S2-1 (0 or 1, else 23) and re-derives its mode. */
SVODB_API int32_t SVODB_CALL SetSetupS21_SVODB(int32_t setupS21);
/* The node's drive type: 1 serial port, 2 network; returns 1. */
SVODB_API int32_t SVODB_CALL GetDriveType_SVODB(int32_t* driveType);
/* Stores the node's drive type, 1 or 2 (else 23). */
SVODB_API int32_t SVODB_CALL SetDriveType_SVODB(int32_t driveType);
/* *atLeastTwo = 1 when the drive's logic version is 2.0 or newer. On a failed
 * read it is 0 and the read's code is returned. */
SVODB_API int32_t SVODB_CALL CKLogicVersion_SVODB(uint8_t* atLeastTwo);
/* *supported = whether a drive of this version text and logic version has the
 * variable (name compared exactly). Returns 0 in every case. */
SVODB_API int32_t SVODB_CALL ParamSupportedByVersion_SVODB(const char* name, const char* versionText,
                                                           int32_t logicVersion, uint8_t* supported);

/* ---- Online values ----------------------------------------------------- */

/* Reads a variable of the connected drive in engineering units. SerialNum
 * and VerLW are texts (8; see GetStringOnline_SVODB). */
SVODB_API int32_t SVODB_CALL GetVariableOnline_SVODB(const char* name, double* value);
/* Writes a variable of the connected drive in engineering units; 23 and
 * nothing written when the value is out of the register's range. */
SVODB_API int32_t SVODB_CALL PutVariableOnline_SVODB(const char* name, double value);

/* ---- Result codes ------------------------------------------------------ */

/* The English message for any result code, into message (SVODB_MESSAGE_SIZE
 * bytes). Codes are context * 10000 + detail * 100 + base; success (1) and
 * unknown bases read "System Error". */
SVODB_API void SVODB_CALL ErrorMessage_SVODB(int32_t code, char* message);

/* ---- Fault history and sampled statistics ------------------------------ */

/* Byte `byte` of fault record `record` (8 bytes each, address 8 * record +
 * byte) into *value. Always 1: an address the drive refuses or a failed
 * transfer shows as 0. Exported on 32-bit Windows as _GetFaultHistory_SVODB@12. */
SVODB_API int32_t SVODB_CALL GetFaultHistory_SVODB(int32_t record, int32_t byte, uint8_t* value);

/* Reads the variable `count` times, handling one of the caller's messages per
 * sample; mean and population standard deviation rounded to 6 decimals, and
 * the unit text for the connected drive into unitText (SVODB_UNIT_SIZE
 * bytes). A failed read returns its code with nothing written; count 0 gives
 * NaN, a negative count 0 for both; 99 (numbers written, no unit text) when
 * the drive's CmdSrc does not read. */
SVODB_API int32_t SVODB_CALL GetParmMeanRMS_SVODB(const char* name, int32_t count, double* mean, double* spread,
                                                  char* unitText);
/* As GetParmMeanRMS_SVODB without the unit text; rounded to 3 decimals. */
SVODB_API int32_t SVODB_CALL GetParmMeanRMS_SVODBT(const char* name, int32_t count, double* mean, double* spread);

/* ---- Online strings ---------------------------------------------------- */

#define SVODB_ONLINE_TEXT_SIZE 25 /* GetStringOnline_SVODB */

/* Reads "SerialNum" or "VerLW" (exact spelling) of the connected drive into
 * text (SVODB_ONLINE_TEXT_SIZE bytes); any other name gives "" and 1.
 * Reading VerLW makes it the drive's version text. 11 for logic older than
 * 3.0. `unused` is ignored. Exported on 32-bit Windows as
 * _GetStringOnline_SVODB@12. */
SVODB_API int32_t SVODB_CALL GetStringOnline_SVODB(const char* name, int32_t unused, char* text);
/* Writes the drive's serial number (name "SerialNum", at most 24 characters,
 * else 12 and nothing written); other names write nothing and return 1. 11
 * for logic older than 3.0. Exported on 32-bit Windows as
 * _PutStringOnline_SVODB@8. */
SVODB_API int32_t SVODB_CALL PutStringOnline_SVODB(const char* name, const char* text);

#ifdef __cplusplus
}
#endif

#endif /* SVODB_SVODB_H */
