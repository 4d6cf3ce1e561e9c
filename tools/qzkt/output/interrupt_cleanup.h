// What a signal that ends the tool (SIGINT, SIGTERM, SIGHUP) must remove so that no partial
// output stays behind: the named temporary file being written. The images an unfinished image
// sequence has written so far are whole and are kept (they may have replaced older files, with
// -y); the handler names them on standard error. The handler uses async-signal-safe calls only and then
// lets the signal end the process as it would have. (SIGKILL cannot be caught: output files
// are therefore unnamed until they are complete, see atomic_output_file.h.)
#pragma once

#include <string>

// The one named temporary file in progress; Forget when it is renamed or removed.
void RegisterTemporaryFile(const std::string& path);
void ForgetTemporaryFile();

// An image sequence being written by pattern (one %d or %0Nd); images 1..count exist.
void RegisterImageSequence(const std::string& pattern);
void SetImagesWritten(int count);
// The image after the count is taking its name: fd (-1 for none) is a descriptor of its file,
// kept open by the caller until the count includes it. A signal meanwhile (on any thread)
// counts the image only when its name already holds that very file, so the line never names
// an image that is not there, nor leaves out one that is.
void SetImageTakingName(int fd);
void ForgetImageSequence();
