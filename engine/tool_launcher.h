// The single place that starts outside tools: finished command lines go to the shell, either
// fire-and-forget (their output lands in the capture file) or read back into the console.
#ifndef PAPERMILL_ENGINE_TOOL_LAUNCHER_H
#define PAPERMILL_ENGINE_TOOL_LAUNCHER_H

// Runs the line through the shell, in the background unless inBackground is set. Returns the
// shell's status; other than 0 is reported on the console and ends any wait.
int InvokeTool(const char *line);

// Changes to the folder, then as InvokeTool.
int InvokeTool1(const char *line, const char *dir);

// Runs the line in the foreground, whatever inBackground says.
int InvokeTool2(const char *line);

// Runs the line and streams its standard output into the console; its status becomes exit_status.
void InvokeTool3(const char *line);

// Copies a file with cp, streaming any message into the console.
void moveFile(const char *source, const char *destination);

// Shows what Ghostscript says of itself; a diagnostic.
void testCommand();

// Ends the first process that the query prints, with kill -9; nothing when it prints none.
void GetProcessInfo(const char *query);

#endif
