/* Lists the library's variables with their read-only flag, then explains a
 * result code: the catalogue needs no drive. */
#include <stdio.h>

#include "svodb/svodb.h"

int main(void) {
  char name[SVODB_NAME_SIZE];
  char message[SVODB_MESSAGE_SIZE];
  uint8_t readOnly = 0;
  for (int32_t position = 1; position <= GetVarNum_SVODB(); ++position) {
    if (GetVarName_SVODB(position, name) && ReadOnly_SVODB(name, &readOnly))
      printf("%3d %-18s %s\n", (int)position, name, readOnly ? "read-only" : "");
  }
  ErrorMessage_SVODB(10408, message); /* "Invalid parameter when loading from FPGA at variable--AFBMitEn" */
  puts(message);
  return 0;
}
