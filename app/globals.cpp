#include "app/globals.h"

char appPath[path_size];
char contentsPath[path_size];
char userPath[path_size];
char tmpPath[path_size];
char prefsPath[path_size];
char worksheet[path_size + 16];
Str255 ptitle;

char in_file[path_size];
char out_file[path_size];
char curr_dir[path_size];
char command_line[command_size];
char cmd[command_size];
char acmd[command_size];
char dragFile[path_size];

volatile std::sig_atomic_t inScript;
unsigned char inRun;
unsigned char userCancel;
char unixTool[32];
std::int32_t appPID;
std::int32_t exit_status;
std::int32_t run_serial;
run_ending last_ending;
std::int32_t failed_conversions;
unsigned char interrupted;
unsigned char cancelDialog;

unsigned char inBackground;
unsigned char hasAqua;
unsigned char have103;
unsigned char doDebug;
unsigned char usePDFTOPS;
unsigned char hasPDFTOPS;
std::int32_t tiff_format = 1;

job_record myJobs;
std::int32_t numberOfJobs;
