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
 *  - Any function may be called from any thread. The library serialises
 *    calls through one process-wide lock that each call holds from start to
 *    end, so a long operation (flash programming, a sampling loop, a
 *    whole-set transfer, a feedback-device write) makes calls from other
 *    threads wait until it returns. The current node and every transfer stay
 *    consistent; two threads that each select a node and then use it must
 *    still agree between themselves on which node is current. The message
 *    handlers run by a sampling loop are called with the lock held and may
 *    call the library again on the same thread.
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

/* ---- Result codes ------------------------------------------------------ */
/* Every function that can fail returns a signed 32-bit code composed as
 *
 *     code = context + detail * 100 + base
 *
 *  - base (0-99, one of SVODB_NO_RESPONSE ... SVODB_SYSTEM_ERROR) is the kind
 *    of failure; codes of the transport library pass through unchanged;
 *  - detail (0-99) is, for the contexts that name a variable (loading from
 *    and sending to FPGA or EEPROM, writing a file), the 1-based catalogue
 *    position of the variable (0: none); for SVODB_CONTEXT_READ_FILE the
 *    1-based number of the file entry; for SVODB_CONTEXT_LOAD_DEFAULT the
 *    default table's entry (not shown in the message); 0 otherwise;
 *  - context (one of SVODB_CONTEXT_..., 0 for a plain code) is the whole-set
 *    operation during which the failure happened.
 *
 * Split a code with truncating division: base = code % 100, detail =
 * code / 100 % 100, context = code / 10000 * 10000. A function that succeeds
 * returns exactly SVODB_OK, never a composed value. ErrorMessage_SVODB
 * words every code. */
enum svodb_result_code {
  SVODB_NO_RESPONSE = 0, /* "No Response from drive"; also: no transport library */
  SVODB_OK = 1,
  SVODB_NO_SUCH_PORT = 2,
  SVODB_OUTPUT_ERROR = 3,
  SVODB_WRONG_ADDRESS = 4,
  SVODB_WRONG_DATA = 5,
  SVODB_FPGA_ERROR = 6,
  SVODB_NV_ADDRESS_MISMATCH = 7,
  SVODB_INVALID_PARAMETER = 8,
  SVODB_WRONG_MODEL = 9,
  SVODB_TRANSFER_ERROR = 10,
  SVODB_WRONG_LOGIC_VERSION = 11,
  SVODB_TOO_LONG = 12, /* a text or table too long; reads "System Error" */
  SVODB_WRONG_DATA_TYPE = 21,
  SVODB_WRONG_OPMODE = 22,
  SVODB_OUT_OF_RANGE = 23,
  SVODB_CANT_OPEN_FILE = 31,
  SVODB_WRONG_FILE_FORMAT = 32,
  SVODB_WRONG_FILE_VERSION = 33,
  SVODB_WRONG_TRX_DATA = 40,
  SVODB_TRX_CHECKSUM = 41,
  SVODB_TRX_READ_BACK = 42,
  SVODB_TRX_NOT_READY = 49,
  SVODB_TRX_DIAGNOSTICS_ON = 50,
  SVODB_TRX_DIAGNOSTICS_OFF = 51,
  SVODB_TRX_EEPROM_READY = 52,
  SVODB_SYSTEM_ERROR = 99
};

/* The contexts, already multiplied by 10000: add one to detail * 100 + base. */
enum svodb_result_context {
  SVODB_CONTEXT_LOAD_FROM_FPGA = 10000,
  SVODB_CONTEXT_SEND_TO_FPGA = 20000,
  SVODB_CONTEXT_LOAD_FROM_EEPROM = 30000,
  SVODB_CONTEXT_SEND_TO_EEPROM = 40000,
  SVODB_CONTEXT_READ_FILE = 50000,
  SVODB_CONTEXT_WRITE_FILE = 60000,
  SVODB_CONTEXT_ERASE_EEPROM = 70000,
  SVODB_CONTEXT_DRIVE_MODE_OR_MODEL = 80000,
  SVODB_CONTEXT_LOGIC_VERSION_CHECK = 90000,
  SVODB_CONTEXT_LOAD_DEFAULT = 100000
};

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

/* ---- Value enumerations ------------------------------------------------ */
/* Variables that hold a code have a list of values, each at an index (its
 * position in the list) with a display label. Names are matched exactly,
 * case and all ("OpMode" has a list, "opmode" none). The labels of DM1Map and
 * DM2Map follow the node's model and mode; node 0 answers for the connected
 * drive and may read facts from it. All four work on the current node. */

#define SVODB_LABEL_SIZE 43           /* enumeration labels */
#define SVODB_COMPOSED_LABEL_SIZE 226 /* AuxFBMitFlt's labels on node 0 */

/* The display label of the value into label (SVODB_LABEL_SIZE bytes, or
 * SVODB_COMPOSED_LABEL_SIZE for AuxFBMitFlt on node 0, where a value that is
 * a set of fault bits gives their labels joined by ";"). False when the name
 * has no list or the list no such value. */
SVODB_API bool SVODB_CALL GetValStr_SVODB(const char* name, int32_t value, char* label);
/* The display label of the entry at the index into label (SVODB_LABEL_SIZE
 * bytes). False when the name has no list, the list no such index, or, on
 * node 0, for AuxFBType's "Mitutoyo" when the drive cannot run one. */
SVODB_API bool SVODB_CALL GetIdxStr_SVODB(const char* name, int32_t index, char* label);
/* The index of the value, returned and into *index; -2 (nothing written)
 * when the list has no such value, -1 when the name has no list or a pointer
 * is null. */
SVODB_API int32_t SVODB_CALL GetValIdx_SVODB(const char* name, int32_t value, int32_t* index);
/* The value at the index, returned and into *value; 2 (positive, nothing
 * written) when the list has no such index, -1 when the name has no list or
 * a pointer is null. */
SVODB_API int32_t SVODB_CALL GetIdxVal_SVODB(const char* name, int32_t index, int32_t* value);

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

/* ---- Offline values and properties -------------------------------------- */
/* One variable of the current node's image in engineering units, without the
 * drive (node 0, the drive's image, reads its logic version, command source
 * and present gain and offset from the drive). */

/* Reads the variable from the current node's image. */
SVODB_API int32_t SVODB_CALL GetVariable_SVODB(const char* name, double* value);
/* Stores the value in the current node's image; 23 and nothing stored when
 * it is out of the register's range. Exactly "OpMode" also re-derives the
 * node's mode. */
SVODB_API int32_t SVODB_CALL PutVariable_SVODB(const char* name, double value);
/* The variable's conversion code, minimum, maximum, default (engineering
 * units) and unit text (SVODB_UNIT_SIZE bytes) on the current node. On 99
 * the four numbers are written but no unit text was found. */
SVODB_API int32_t SVODB_CALL GetProp_SVODB(const char* name, int32_t* conversionCode, double* minimum,
                                           double* maximum, double* defaultValue, char* unit);

/* ---- Online values ----------------------------------------------------- */

/* Reads a variable of the connected drive in engineering units. SerialNum
 * and VerLW are texts (8; see GetStringOnline_SVODB). */
SVODB_API int32_t SVODB_CALL GetVariableOnline_SVODB(const char* name, double* value);
/* Writes a variable of the connected drive in engineering units; 23 and
 * nothing written when the value is out of the register's range. */
SVODB_API int32_t SVODB_CALL PutVariableOnline_SVODB(const char* name, double value);

/* ---- Parameter availability -------------------------------------------- */
/* Names are compared exactly, with regard to case. */

/* Whether the parameter is editable in the present configuration of node
 * 0-6 (not the current node; 23 for any other): *enabled 1 enabled, 0
 * disabled, -1 not applicable to this kind of drive; names no rule lists are
 * enabled. Node 0 reads its configuration from the drive, nodes 1-6 take
 * their image. A failed read returns its code; *enabled is then untouched
 * if OpMode could not be read, and 1 otherwise. 5 when the answer needs the
 * drive's version text (see GetStringOnline_SVODB) and it is shorter than 3
 * characters; 0 for ARF0 and ARF1 on a drive on neither connection. */
SVODB_API int32_t SVODB_CALL GetParamEnabled_SVODB(const char* name, int32_t node, int32_t* enabled);
/* Whether the variable's value changes by itself while the drive runs
 * (*dynamic 1, to be polled) or only when written (0), on the present
 * connection; 25 and nothing written when neither a serial port nor the
 * network is open. */
SVODB_API int32_t SVODB_CALL GetParamStaticOrDynamic_SVODB(const char* name, int32_t* dynamic);

/* ---- Motor feedback device ----------------------------------------------- */
/* The memory of the motor's feedback device (its electronic nameplate),
 * reached through the drive. A motor data block (MDB) is an array of 384
 * values, one per byte (each 0-255), whose sum has the low byte 255; a block
 * that breaks either rule gives 40 or 41 before any traffic. Device
 * operations switch the drive's diagnostics mode on and off and may run the
 * link at 115200 baud in between; they block the caller for seconds. */

#define SVODB_TRX_BLOCK_SIZE 384          /* values of a motor data block */
#define SVODB_TRX_MEMORY_SIZE 17152       /* values of Read_TRX_2_Memory */
#define SVODB_TRX_FIELD_TEXT_SIZE 47      /* GetMotorData_TRXMDB */
#define SVODB_TRX_NOT_SET 99999           /* an output the operation did not reach */

/* The device's generation into *generation (1, 2, or 255 not recognised),
 * the link speed the drive allows into *linkSpeed (115 or 19 for 115200 or
 * 19200 baud) and into *supported whether the library can write it (0/1).
 * A failure to enter diagnostics mode returns at once (50) with only
 * *linkSpeed written. */
SVODB_API int32_t SVODB_CALL Check_gen_of_TRX(uint32_t* generation, uint32_t* linkSpeed, uint32_t* supported);
/* A generation-2 device's memory region (flash 0x3BD00-0x3FFFF, block at
 * offsets 16768-17151) into memory (SVODB_TRX_MEMORY_SIZE values), filled
 * also when the block's checksum is wrong (41). The device's status polls
 * are bounded: 49 when it never reports its data ready within 1 s, 52 when
 * it stays busy after an erase (10 s) or a page program (1 s); the
 * operation then stops, leaves diagnostics mode and restores the speed. */
SVODB_API int32_t SVODB_CALL Read_TRX_2_Memory(uint32_t* memory);
/* Rewrites a generation-2 device's memory with the block's checksum byte
 * repaired. 13 when the memory read back differs from what was written; 49
 * and 52 as for Read_TRX_2_Memory. */
SVODB_API int32_t SVODB_CALL Correct_chs(uint32_t unused);
/* Writes block bytes 0-382 to a generation-2 device with a fresh checksum,
 * *b to device offset 16642 and *a to 16692, keeping every other byte, and
 * verifies it. 41 and nothing written when the device's memory fails the
 * checksum (repair it with Correct_chs); 13, 49 and 52 as for Correct_chs.
 * Exported on 32-bit Windows as _Write_Verify_TRX_2_MDB@12. */
SVODB_API int32_t SVODB_CALL Write_Verify_TRX_2_MDB(const uint32_t* block, const uint8_t* a, const uint8_t* b);
/* 1 when the block in the library's copy of the last generation-2 memory
 * read satisfies the checksum, else 0. Exported on 32-bit Windows as
 * _check_check_sum_all@0. */
SVODB_API int32_t SVODB_CALL check_check_sum_all(void);
/* Sets the checksum byte of that copy (not of the device); always 1.
 * Exported on 32-bit Windows as _compute_check_sum_all@0. */
SVODB_API int32_t SVODB_CALL compute_check_sum_all(void);

/* Loads the block's fields from the drive's copy of the block into the
 * library (every field shows 0 before the first load). */
SVODB_API int32_t SVODB_CALL LoadShowData_TRXMDB(void);
/* A field of the last loaded block as text into text
 * (SVODB_TRX_FIELD_TEXT_SIZE bytes); names without regard to case. 8 for an
 * unknown name; 99 and nothing written when the bytes do not decode (RLim
 * of a byte of 0 or 65-128). */
SVODB_API int32_t SVODB_CALL GetMotorData_TRXMDB(const char* name, char* text);
/* The field's unit into unit (SVODB_UNIT_SIZE bytes); 8 for an unknown name. */
SVODB_API int32_t SVODB_CALL GetDataUnit_TRXMDB(const char* name, char* unit);
/* The drive's copy of the block into block (SVODB_TRX_BLOCK_SIZE values),
 * written only on success; read once more after a pause when the checksum
 * fails (then 41). Takes about 4 s. */
SVODB_API int32_t SVODB_CALL Read_TRXMDB(uint32_t* block);
/* Compares the drive's copy with block, reading each differing byte once
 * more after a 4 s pause (*retries counts them). 42 with *index, *valueRead
 * and *valueExpected of the byte that still differs; they stay
 * SVODB_TRX_NOT_SET otherwise. */
SVODB_API int32_t SVODB_CALL Check_TRXMDB(const uint32_t* block, uint32_t* retries, uint32_t* index,
                                          uint32_t* valueRead, uint32_t* valueExpected);
/* The three bytes behind the drive's logic version text (motor-data
 * addresses 509, 510, 511) into bytes (3 values). */
SVODB_API int32_t SVODB_CALL Read_TRXFPGA(uint32_t* bytes);

/* Writes to a generation-1 device the words of the block that differ from
 * the drive's copy, each read back and retried (*retries counts the 4 s
 * retry pauses). 10 or 13 with *wordIndex (0-191), *valueRead and
 * *valueExpected of a word that does not hold; a word that cannot be sent
 * at all gives (c * 1000 + b) * 1000 + w: c the failing code (+1 on the
 * rewrite), b block byte 2w, w the word index. Outputs not reached stay
 * SVODB_TRX_NOT_SET. */
SVODB_API int32_t SVODB_CALL Write_Verify_TRXMDB(const uint32_t* block, uint32_t* retries, uint32_t* wordIndex,
                                                 uint32_t* valueRead, uint32_t* valueExpected);
/* Writes the whole block to a generation-1 device and compares the drive's
 * copy with it (42 on a difference). */
SVODB_API int32_t SVODB_CALL Write_TRXMDB(const uint32_t* block);
/* Writes a generation-1 device parameter, "RDSINOffset" (0-255) or
 * "SINGain" (0-1023), truncated toward zero; 8 for another name, 23 out of
 * range, 10 when it does not read back. */
SVODB_API int32_t SVODB_CALL Write_TRX(const char* name, double value);
/* Reads a generation-1 device parameter into *value. 10 and *value
 * untouched when a word cannot be read. */
SVODB_API int32_t SVODB_CALL Read_TRX(const char* name, double* value);
/* Writes the block with the writer for the device's generation: generation
 * 1 also gets RDSINOffset *b; generation 2 gets *b - 10 and *a as in
 * Write_Verify_TRX_2_MDB. 23 when *a or *b is above 255, or *b is below 10
 * on generation 2; 40 or 41 for a bad block before any traffic. A device not recognised or not supported is left alone
 * and the generation check's code returned (1 when it worked). */
SVODB_API int32_t SVODB_CALL Write_Verify_TRXMDB_v2(const uint32_t* block, const uint32_t* a, const uint32_t* b);

/* ---- Parameter sets ---------------------------------------------------- */
/* Whole parameter sets moved between the current node's image (SetNode_SVODB)
 * and the connected drive: its working registers (what it runs with) and its
 * NV memory (what it loads at power-up). The user sets are the user
 * parameters, the manufacturing sets the fourteen factory settings. Every
 * transfer leaves out the variables the drive's logic version does not have.
 * Each returns 1 or a composed code: 10000 + code reading the working
 * registers, 20000 + code writing them, 30000 + code reading NV, 40000 + code
 * writing NV, 70000 + code erasing unused NV entries, 80000 + code reading the
 * drive's model, 100000 + code loading defaults (ErrorMessage_SVODB words
 * them). A transfer that fails keeps what it moved before the failure. */

/* Reads the user and the manufacturing parameters from the drive's working
 * registers into the image, which also takes the drive's model, mode, S2-1
 * and logic version. */
SVODB_API int32_t SVODB_CALL RDFromDriveUser_SVODB(void);
/* Reads the manufacturing parameters only, as RDFromDriveUser_SVODB. */
SVODB_API int32_t SVODB_CALL RDFromDriveMfg_SVODB(void);
/* Writes the image's user parameters to the drive's working registers, each
 * in the format of the drive's logic version; on the network without the
 * inhibit enables and the gearing. Only what the drive's version supports is
 * written, judged by the version text that GetStringOnline_SVODB("VerLW")
 * read last: read it first, or a drive of logic 3 or later takes nothing.
 * A motor parameter that the drive takes from the motor's feedback device
 * and so does not keep is passed over. */
SVODB_API int32_t SVODB_CALL WRToDriveUser_SVODB(void);
/* Writes the image's manufacturing parameters, as WRToDriveUser_SVODB. */
SVODB_API int32_t SVODB_CALL WRToDriveMfg_SVODB(void);
/* As RDFromDriveUser_SVODB from NV memory (S2-1 is not read). */
SVODB_API int32_t SVODB_CALL RDFromNVUser_SVODB(void);
/* As RDFromDriveMfg_SVODB from NV memory. */
SVODB_API int32_t SVODB_CALL RDFromNVMfg_SVODB(void);
/* Writes the image's user parameters to NV memory (on the network without
 * the inhibit enables and the gearing); no version-text check. */
SVODB_API int32_t SVODB_CALL WRToNVUser_SVODB(void);
/* Writes the image's manufacturing parameters to NV memory. */
SVODB_API int32_t SVODB_CALL WRToNVMfg_SVODB(void);
/* Loads the factory user defaults of the image's model, drive type and logic
 * generation (4.0 and later, or older) into the image; node 0 takes model,
 * connection and logic version from the drive and then also writes the user
 * parameters to NV memory and erases the NV entries no parameter uses. The
 * working registers are not written. */
SVODB_API int32_t SVODB_CALL SetDefaultUser_SVODB(void);
/* As SetDefaultUser_SVODB for the manufacturing parameters. The current
 * offsets IUOffset and IVOffset have no defaults: they are read from the
 * drive first, whatever the node, and node 0 writes them back unchanged.
 * Like the user defaults it ends by setting the image's PWMMinus and PWMPlus
 * from the command gain, offset and source that the user defaults or a
 * parameter file last gave, so load the user defaults (or a file) first. */
SVODB_API int32_t SVODB_CALL SetDefaultMfg_SVODB(void);

/* ---- Parameter files ---------------------------------------------------- */
/* A parameter file is text: a header (file kind, file version = logic
 * version, "DriveModel <model label> (-STD)" or "(-NET)", "ActiveCMDUnits
 * Velocity" or "Torque/Current") and one "name = value unit" line per
 * parameter. User files hold the user parameters, manufacturing files also
 * the fourteen factory settings. Blank lines and lines starting with "#" are
 * skipped; LF and CR LF line ends are both read; lines are at most 255
 * characters. A file is written to "<file>.svodb-tmp" beside it and moved
 * over the file only when complete: a write that fails leaves the previous
 * file as it was. Numbers are written with six decimals whatever the locale;
 * AuxFBType's "EnDat_2.1 Linear" is written "EnDat_2.1_Linear" (both read);
 * a value with no label is written "NoLabel_<value>" and refused when read.
 * Results: 1, or 50000 + 100 * line + code reading (line 99 is the closing
 * step that sets PWMMinus and PWMPlus), 60000 + code writing, 80000 + code
 * for the image's mode or command source, 33 for a user file whose version
 * is not 2, 3 or 4 (its values stay loaded), 31 for a null name (a file that
 * cannot be opened is 50031 reading, 60031 writing). */

/* Writes the current node's image as a user file. Node 0 lists only what the
 * drive's version supports. */
SVODB_API int32_t SVODB_CALL WRToFileUser_SVODB(const char* fileName);
/* Writes the current node's image as a manufacturing file. */
SVODB_API int32_t SVODB_CALL WRToFileMfg_SVODB(const char* fileName);
/* Loads a user file into the current node: its model, drive type, mode and
 * logic version and every parameter line. */
SVODB_API int32_t SVODB_CALL RDFromFileUser_SVODB(const char* fileName);
/* Loads a manufacturing file into the current node (the version is not
 * checked). */
SVODB_API int32_t SVODB_CALL RDFromFileMfg_SVODB(const char* fileName);
/* Loads a user file into node 1 (which becomes current), checks its model
 * against the drive's (80009 when they differ) and writes it to the drive's
 * NV memory; node 0 is current again only after success. */
SVODB_API int32_t SVODB_CALL SetUserParamsNV_SVODBT(const char* fileName);
/* Loads a manufacturing file into the current node and writes its
 * manufacturing parameters to NV memory, then erases unused NV entries. */
SVODB_API int32_t SVODB_CALL SetMfgParamsNV_SVODBT(const char* fileName);
/* Reads the drive's NV memory into the current node and writes a user file
 * of what the drive's version supports. */
SVODB_API int32_t SVODB_CALL GetUserParamsNV_SVODBT(const char* fileName);
/* Reads the drive's NV memory into the current node and writes its
 * manufacturing parameters as a manufacturing file. */
SVODB_API int32_t SVODB_CALL GetMfgParamsNV_SVODBT(const char* fileName);
/* Loads the factory user and manufacturing defaults into the current node's
 * image only (nothing reaches the drive); returns 1. */
SVODB_API int32_t SVODB_CALL SetParamsArray_SVODB(void);

/* ---- Configuration flash ----------------------------------------------- */
/* In-system programming of the drive's FPGA configuration flash. Each call
 * blocks the calling thread until the drive is done (a file takes minutes on
 * a serial link) and needs the link to itself: no other drive traffic may
 * run meanwhile. Once the drive is unlocked every call ends the operation
 * with a closing byte (except ConfigFlash_SVODB), and a serial link that was
 * raised to 115200 baud for the stream is set back to 19200, whatever the
 * result.
 *
 * Progress: the file functions post message SVODB_PROGRESS_MESSAGE to
 * `window`, with the step (0, 1, 2 ...) as wParam and the total number of
 * steps as lParam. A call that succeeds has posted every step, the last one
 * being total - 1; a call that fails stops posting where it failed. Messages
 * are posted, never sent: the library does not wait for them. On Windows
 * `window` is the HWND as a pointer-sized integer and PostMessageA delivers
 * them; on Linux they go to the post handler registered with
 * svodb_set_message_handlers (svodb/svodb_linux.h), nowhere without one.
 *
 * Waits: a drive that keeps answering "busy" is given 160 s from the start
 * of a wait (or 4194304 busy answers, should the clock stand still); the wait
 * then fails as one that did not see the drive ready (16) or finished (4). */

#define SVODB_PROGRESS_MESSAGE 0x40E  /* WM_USER + 14 */
#define SVODB_ISC_PROGRESS_STEPS 542
#define SVODB_I00_PROGRESS_STEPS 2058

/* Programs the flash from an ISC file (verify 0), or verifies the flash
 * against it (any other verify). The file is read and checked whole before
 * anything is sent: 31 it cannot be opened; 32 it is not a well-formed ISC
 * file (a line over 2047 characters, other than 512 data rows, a data row
 * with fewer than 1024 hex characters, no "data_CRC" line or no file
 * checksum line); 42 the rows do not match the row checksum; 41 the text does
 * not match the file checksum. Then: 16 the drive did not become ready, or a
 * status read failed while waiting; 4 on a serial link the drive did not
 * report ready after a row, or at the end it did not report finished (a
 * verify that finds a difference ends so). When the drive refuses a byte of
 * the stream, the result is that of the closing byte sent after it: 1 when
 * the drive takes that one, so only the missing last progress step tells
 * such a call from a good one. `unused` is ignored. */
SVODB_API int32_t SVODB_CALL HandleISCFile_SVODB(const char* fileName, uint8_t verify, uintptr_t window,
                                                 int32_t unused);

/* As HandleISCFile_SVODB for an I00 file, which fills a 512-Kbyte image of
 * the flash (bytes it does not give are 0xFF): 31 it cannot be opened; 32 a
 * header line is missing, the first line does not begin with "#IT:", a first
 * record line does not begin with ':', a line is over 99 characters or a
 * data record ends before its count of bytes; 33 the file's logic version
 * ("#LogicVer:N" as its third line, else from its name: ABC-DEF004-GH.i00 is
 * for logic version 4, a name ending in ".isc" for 3) is not the drive's, or
 * the drive's cannot be read; 43 the data reach beyond the image. A status
 * read that fails while waiting for the end gives 42 here. SPI_EN (FPGA
 * register 111) is switched on before the unlock and off only on success. */
SVODB_API int32_t SVODB_CALL HandleI00File_SVODB(const char* fileName, uint8_t verify, uintptr_t window,
                                                 int32_t unused);

/* Erases the flash. A drive of logic version 4 gets SPI_EN on first and off
 * after success. 1, the code of the failing step (the logic version read,
 * an unlock write, the closing byte when the link speed cannot be raised,
 * SPI_EN off at the end), 16 when the erase status cannot be read, 25 when
 * the drive does not report the erase finished. */
SVODB_API int32_t SVODB_CALL EraseFlash_SVODB(void);

/* Makes the drive reload its FPGA from the flash, then waits 500 ms; no
 * closing byte is sent. Link speed afterwards: on a serial link the port is
 * left at 115200 baud, while the reloaded drive listens at the speed it
 * starts with after power-up; reopen the port (UsePort, normally at 19200)
 * before talking to the drive again. 1 or the code of the failing step; for
 * logic version 4 the result is that of switching SPI_EN off. Exported on
 * 32-bit Windows as _ConfigFlash_SVODB@0. */
SVODB_API int32_t SVODB_CALL ConfigFlash_SVODB(void);

/* ---- Result code messages ---------------------------------------------- */

/* The English message for any result code (composed as described with the
 * result code names above), into message (SVODB_MESSAGE_SIZE bytes); success
 * (SVODB_OK) and unknown bases read "System Error". Composes into the
 * caller's buffer without allocating. */
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
