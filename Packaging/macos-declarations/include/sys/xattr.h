#pragma once

#include <stdint.h>
#include <sys/types.h>

// The calls for extended attributes that this program uses, for the check on systems whose Darwin headers lack them.
// Never used by a build on macOS. What is declared here is a claim about Apple's interface: keep it to the letter.

#ifdef __cplusplus
extern "C" {
#endif
ssize_t fgetxattr(int fd, const char* name, void* value, size_t size, u_int32_t position, int options);
int fsetxattr(int fd, const char* name, const void* value, size_t size, u_int32_t position, int options);
ssize_t flistxattr(int fd, char* namebuff, size_t size, int options);
#ifdef __cplusplus
}
#endif
