#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

// The simulated allocator and display driver. Results are the kernel's: 0 or more, or a negated
// errno.
namespace sim {

// What the preloaded calls ask. answerRequest is true if result is the answer: the devices answer
// for their own descriptors, and with EBADF for those that aren't open, because an emulator may
// not. mapFault's negated errno means: do not map.
bool isDevice(const char* path);
int openDevice(const char* path, int flags);
bool answerRequest(int fd, unsigned long code, void* record, int& result);
int mapFault(int fd);
void afterMap(int fd, std::size_t length, int protection, int flags, int result);
void beforeClose(int fd);

// Whether anybody reads the log: without it no call does work for it.
bool logging();
void logLine(const std::string& line);

// A simulated descriptor is a memory file, and its name says what it stands for: "/dev/ion",
// "/dev/ge2d" or "buffer 1 of 9 bytes". So the kernel keeps the table, duplicates included.
// The name of any other descriptor is empty.
std::string nameOf(int fd);
// Returns a new descriptor; its memory is backed at once, as an allocator's is.
int makeFile(const std::string& name, std::uint64_t backed, bool closeOnExec);

// The requests, each on the driver's own copy of its record, a list of 32-bit words.
int modernAlloc(std::int32_t* words);
int legacyAlloc(std::int32_t* words);
int legacyShare(std::int32_t* words);
int legacyFree(std::int32_t* words);
int putPlane(std::int32_t* words);
int presentPlane(std::int32_t* words);
int setFastlogo(std::int32_t* words);

}  // namespace sim
