# 32-bit ARM userland, ARMv7-A with hardware floating point. Programs run on the PC under user-mode
# emulation. -Wno-psabi: how the ABI differs from that of g++ before 7 doesn't matter here. Debian 13's
# g++ defines the two macros for every file, but here the source says which files need large offsets.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7-a)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_CXX_FLAGS_INIT "-march=armv7-a -mfpu=vfpv3-d16 -mfloat-abi=hard -mthumb -Wno-psabi \
-U_FILE_OFFSET_BITS -U_TIME_BITS")
set(CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /usr/arm-linux-gnueabihf)
