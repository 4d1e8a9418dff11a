#include "run.h"

#include <gtest/gtest.h>

namespace {

using std::string;

// ---- What the tool prints ----

const string kHelp = R"(
QM710 OSD Display Test Tool
Version: 0.1
Contact: the planeshow maintainers

Usage:
  planeshow [OPTION...]

  -i, --input arg       image file name (default: "")
  -f, --format arg      fmt (default: ARGB8888)
      --afbc            afbc compress enabled
  -w, --width arg       image width (default: 720)
  -h, --height arg      image height (default: 480)
  -o, --window arg      display window (default: 0,0,1920,1080)
  -c, --crop arg        image crop (default: 0,0,0,0)
  -t, --target arg      target output channel (default: 1)
      --fastlogo        enable fastlogo mode
      --blank           blank output
      --swap            swap argb
      --colorIndex arg  test argb color (default: 0)
      --debug           enable debug print
      --help            print usage
  -v, --verbose         print detail input args

)";
const string kHelpOption =
    kHelp + "Supported Formats:\n    ARGB8888\n     RGB888 \n     RGB565 \n\n";
const string kNoInput = "\nERROR: please specify the input file name!\n" + kHelp;
const string kBadRectangle =
    "\nERROR: please specify the correct image crop or output window!\n" + kHelp;
const string kModernProbe =
    "ioctl c0044901 failed with code -1: Inappropriate ioctl for device\n\n";
const string kLegacyProbe = "ioctl c0044901 failed with code -1: Invalid argument\n\n";
const string kNoBuffer = "main: initImageBuffer error, exit!\n";
const string kBlanked = "main: blank display!\n";

string parseError(const string& message) { return "error parsing options: " + message + "\n"; }

// ---- A layer, as it is printed and as the driver receives it ----

struct Layer {
  string channel = "1";
  string format = "0";
  string size = "720x480";
  string crop = "0,0,720,480";
  string window = "0,0,1920,1080";
  string compress = "0";
  string fd = "6";
};

string panel(const Layer& l) {
  return "\nPanel info -->\n   buf size: " + l.size + "\n       crop: [" + l.crop +
         "]\n     window: [" + l.window + "]\n     format: " + l.format +
         "\n   compress: " + l.compress + "\n dma_buf fd: " + l.fd + "\nosd channel: " + l.channel +
         "\n";
}

// "1,2" as " x=1 y=2" for the names "x y".
string fields(const char* names, const string& values, char separator = ',') {
  std::istringstream name(names), value(values);
  string text;
  for (string n, v; name >> n && std::getline(value, v, separator);) {
    text += ' ' + n + '=' + v;
  }
  return text;
}

string put(const Layer& l, const string& result = "0 {out_value=1}") {
  return "ioctl 3 00004631 put {channel=" + l.channel + " param_a=0 format=" + l.format +
         " param_b=1 param_c=2 param_d=255" +
         fields("window_x window_y window_w window_h", l.window) + " compress=" + l.compress +
         fields("buf_width buf_height", l.size, 'x') +
         fields("crop_x crop_y crop_w crop_h", l.crop) + " dma_buf_fd=" + l.fd +
         " param_e=0 out_value=-1} = " + result + "\n";
}

// ---- What the devices see ----

const string kOpenIon = "open /dev/ion O_RDONLY|O_CLOEXEC = 4\nioctl 4 c0044901 = -1 ENOTTY\n";
const string kAlloc =
    "ioctl 4 c0184900 alloc {len=9 heap_mask=2 flags=0 fd=0 reserved=0} = 0 {fd=5}\n";
const string kMap = "map buffer 1 9 bytes rw shared = 0\n";
const string kOpenGe2d = "open /dev/ge2d O_RDWR = 3\n";
const string kFastlogo = "ioctl 3 00004635 fastlogo {mode=0} = 0 {}\n";
const string kLoaded = kOpenIon + kAlloc + kMap + kMap + kOpenGe2d;
const string kOpenLegacy =
    "open /dev/ion O_RDONLY|O_CLOEXEC = 4\nioctl 4 c0044901 free {handle=0} = -1 EINVAL\n"
    "ioctl 4 c0144900 alloc {len=9 align=4096 heap_mask=2 flags=0 handle=0} = 0 {handle=1}\n";
const string kLegacyShare = "ioctl 4 c0084904 share {handle=1 fd=0} = 0 {fd=6}\n";
const string kLegacyFree = "ioctl 4 c0044901 free {handle=1} = 0 {}\n";
const string kLoadedLegacy = kOpenLegacy + kLegacyShare + kLegacyFree + kMap + kMap + kOpenGe2d;

string shown(const string& channel) {
  return "layer channel " + channel + " buffer 1 9 bytes crc32 cbf43926\n";
}
const string kCloseBuffer = "close 5 buffer 1\n";
const string kExit = "close 3 /dev/ge2d\nclose 4 /dev/ion\n";
const string kPresent = "ioctl 3 00004632 present ";

string displayCalls(const Layer& l) {
  return kLoaded + kFastlogo + put(l) + shown(l.channel) + kCloseBuffer + kExit;
}

Case display(const char* name, std::vector<string> args, const Layer& layer) {
  args.insert(args.begin(), {"-i", "image.raw"});
  return {name, args, {}, kModernProbe + panel(layer), displayCalls(layer)};
}

// A display run in which a request to the drivers goes wrong.
Case broken(const char* name, const string& fault, const string& out, const string& calls,
            int status) {
  return {name, {"-i", "image.raw"}, {"PLANESHOW_SIM_FAIL=" + fault}, out, calls, status};
}

Layer with(string Layer::*field, const string& value) {
  Layer layer;
  layer.*field = value;
  return layer;
}

class Run : public testing::TestWithParam<Case> {};
TEST_P(Run, Case) { check(GetParam()); }

string nameOf(const testing::TestParamInfo<Case>& info) { return info.param.name; }

const Case kCommandLine[] = {
    {"NoArguments", {}, {}, kNoInput, ""},
    {"Help", {"-i", "image.raw", "--help"}, {}, kHelpOption, ""},
    {"HelpFalse", {"--help=false"}, {}, kHelpOption, ""},
    {"ErrorBeatsHelp", {"--help", "--bogus"}, {}, parseError("Option ‘bogus’ does not exist"), ""},
    {"EmptyInput", {"--input="}, {}, kNoInput, ""},
    {"InputCheckedFirst", {"-o", "1"}, {}, kNoInput, ""},
    {"WindowOfThree", {"-i", "x", "-o", "0,0,1280"}, {}, kBadRectangle, ""},
    {"WindowTwice", {"-i", "x", "-o", "0,0,1,1", "-o", "1,1,1,1"}, {}, kBadRectangle, ""},
    {"CropOfFiveWhenBlank", {"--blank", "-c", "1,2,3,4,5"}, {}, kBadRectangle, ""},
    {"EmptyPiece", {"-o", "0,,1280,720"}, {}, parseError("Argument ‘’ failed to parse"), ""},
    {"BlankInPiece", {"-o", "0, 0,1,1"}, {}, parseError("Argument ‘ 0’ failed to parse"), ""},
    {"MissingValue", {"-h"}, {}, parseError("Option ‘h’ is missing an argument"), ""},
    {"BundleValue", {"-wv", "800"}, {}, parseError("Option ‘w’ requires an argument"), ""},
    {"AttachedValue", {"-ix"}, {}, parseError("Option ‘i’ requires an argument"), ""},
    {"BoolText", {"--afbc=yes"}, {}, parseError("Argument ‘yes’ failed to parse"), ""},
    {"Syntax",
     {"-="},
     {},
     parseError("Argument ‘-=’ starts with a - but has incorrect syntax"),
     ""},
    {"UnusedIsParsed",
     {"--colorIndex", "abc"},
     {},
     parseError("Argument ‘abc’ failed to parse"),
     ""},
};
INSTANTIATE_TEST_SUITE_P(CommandLine, Run, testing::ValuesIn(kCommandLine), nameOf);

// Numbers that no 32-bit integer holds, or that are none at all, in every place that takes one.
TEST(CommandLine, RejectsNumbers) {
  for (const char* text : {"2147483648", "-2147483649", "5000000000", "10000000000", "4294967296",
                           "0X2D0", "0x", "-", "--1", "+1", "1 ", "", "0x80000000", "0x123456789",
                           "00000000005000000000", "12a", "18446744073709551617"}) {
    const string error = parseError("Argument ‘" + string(text) + "’ failed to parse");
    check({text, {"-w", text}, {}, error, ""});
    check({text, {"-c", string("1,2,3,") + (*text == '\0' ? "," : text)}, {}, error, ""});
  }
}

const Case kDisplay[] = {
    display("Defaults", {}, {}),
    display("Format888", {"-f", "RGB888"}, with(&Layer::format, "1")),
    display("Format565", {"--format=RGB565"}, with(&Layer::format, "2")),
    display("FormatOtherCase", {"-f", "rgb565"}, with(&Layer::format, "-1")),
    display("FormatLonger", {"-f", "RGB5650"}, with(&Layer::format, "-1")),
    display("Afbc", {"--afbc", "false"}, with(&Layer::compress, "1")),
    display("AfbcOff", {"--afbc=0"}, {}),
    display("Channel0", {"-t", "0"}, with(&Layer::channel, "0")),
    display("Window", {"-o", "-1,2,-3,4,"}, with(&Layer::window, "-1,2,-3,4")),
    display("Crop", {"-c", "100,50,10,10"}, with(&Layer::crop, "100,50,620,430")),
    display("CropBelow", {"-c", "-5,-5,10,10"}, with(&Layer::crop, "0,0,720,480")),
    display("CropBeyond", {"-c", "900,0,0,0"}, with(&Layer::crop, "720,0,0,480")),
    display("Hexadecimal", {"-w", "0x2D0", "-vh", "00480"}, {}),
    display("Ignored", {"foo", "--swap", "--colorIndex", "3", "-v", "-", "--", "-w", "x"}, {}),
    display("LastOneWins", {"-f", "x", "-f", "RGB888", "-w", "1", "-w", "720"},
            with(&Layer::format, "1")),
    display("NegativeSize", {"-w", "-5", "-h", "-2147483648"},
            {"1", "0", "-5x-2147483648", "-5,-2147483648,0,0"}),
    {"Fastlogo",
     {"--fastlogo", "-i", "image.raw"},
     {},
     kModernProbe + panel({}),
     kLoaded + "ioctl 3 00004635 fastlogo {mode=1} = 0 {}\n" + put({}) + shown("1") + kCloseBuffer +
         kExit},
    {"Settings",
     {"-i", "image.raw", "--debug", "-t", "-1", "-c", "9,8,7,6", "-f", "NV12"},
     {},
     "\nSRC image info -->\n      path: image.raw\n      size: 720x480\n      crop: [9,8,7,6]\n"
     "    format: NV12\n  compress: false\n\nOSD setting ----->\n    window: [0,0,1920,1080]\n"
     "   Channel: QM710_OSD3\n" +
         kModernProbe + panel({"-1", "-1", "720x480", "9,8,711,472"}) +
         "submitLayer: osd id error!\nmain: submit osd layer error!\n",
     kLoaded + kFastlogo + kCloseBuffer + kExit},
    {"SettingsOfChannel0",
     {"-i", "image.raw", "--debug", "-t", "0", "--afbc"},
     {"PLANESHOW_SIM_ION=absent"},
     "\nSRC image info -->\n      path: image.raw\n      size: 720x480\n      crop: [0,0,0,0]\n"
     "    format: ARGB8888\n  compress: true\n\nOSD setting ----->\n    window: [0,0,1920,1080]\n"
     "   Channel: QM710_OSD2\nopen /dev/ion failed: No such file or directory\n\n"
     "iondev: ion_open() failed, No such file or directory\n"
     "ioctl c0044901 failed with code -1: Bad file descriptor\n\n"
     "ioctl c0144900 failed with code -1: Bad file descriptor\n\n"
     "initWithSize: ion alloacte faile, ret=-9\n" +
         kNoBuffer,
     "open /dev/ion O_RDONLY|O_CLOEXEC = -1 ENOENT\n",
     1},
    {"Legacy",
     {"-i", "image.raw"},
     {"PLANESHOW_SIM_ION=legacy"},
     kLegacyProbe + panel(with(&Layer::fd, "5")),
     kLoadedLegacy + kFastlogo + put(with(&Layer::fd, "5")) + shown("1") + "close 6 buffer 1\n" +
         kExit},
    // errno of the probe must survive a message that fails to be printed.
    {"LegacyQuiet",
     {"-i", "image.raw"},
     {"PLANESHOW_SIM_ION=legacy"},
     "",
     kLoadedLegacy + kFastlogo + put(with(&Layer::fd, "5")) + shown("1") + "close 6 buffer 1\n" +
         kExit,
     0,
     "",
     "/dev/null"},
};
INSTANTIATE_TEST_SUITE_P(Display, Run, testing::ValuesIn(kDisplay), nameOf);

const Case kBlank[] = {
    {"Default",
     {"--blank", "--debug"},
     {},
     kBlanked,
     kOpenGe2d + kPresent + "{channel=1 enable=0} = 0 {}\nclose 3 /dev/ge2d\n"},
    {"UncheckedChannel",
     {"--blank", "-t", "-2147483648"},
     {},
     "blankCtrl: ioctl FBIOPRESENT_PLANE error\n" + kBlanked,
     kOpenGe2d + kPresent + "{channel=2147483648 enable=0} = -1 EINVAL\nclose 3 /dev/ge2d\n"},
    {"NoNode",
     {"--blank"},
     {"PLANESHOW_SIM_GE2D=forbidden"},
     "svpdev: Open '/dev/ge2d' failed, Permission denied\n"
     "blankCtrl: ioctl FBIOPRESENT_PLANE error\n" +
         kBlanked,
     "open /dev/ge2d O_RDWR = -1 EACCES\n"},
};
INSTANTIATE_TEST_SUITE_P(Blank, Run, testing::ValuesIn(kBlank), nameOf);

const Case kFailures[] = {
    {"MissingImage",
     {"-i", "none.raw"},
     {},
     "initFromFile: Image: can not find the image file: none.raw\n"
     "initImageBuffer: read image file return error!\n" +
         kNoBuffer,
     "",
     1},
    broken("OutOfMemory", "alloc:ENOMEM",
           kModernProbe +
               "ioctl c0184900 failed with code -1: Cannot allocate memory\n\n"
               "initWithSize: ion alloacte faile, ret=-12\n" +
               kNoBuffer,
           kOpenIon + "ioctl 4 c0184900 alloc {len=9 heap_mask=2 flags=0 fd=0 reserved=0} = "
                      "-1 ENOMEM\nclose 4 /dev/ion\n",
           1),
    broken("NoDescriptor", "alloc:nofd",
           kModernProbe + "initWithSize: ion alloacte faile, ret=0\n" + kNoBuffer,
           kOpenIon + "ioctl 4 c0184900 alloc {len=9 heap_mask=2 flags=0 fd=0 reserved=0} = "
                      "0 {fd=-1}\nclose 4 /dev/ion\n",
           1),
    broken("PositiveResult", "alloc:7,put:1",
           kModernProbe + panel({}) +
               "submitLayer: ioctl FBIOPUT_PLANEINFO error\nmain: submit osd layer error!\n",
           kOpenIon +
               "ioctl 4 c0184900 alloc {len=9 heap_mask=2 flags=0 fd=0 reserved=0} = "
               "7 {fd=5}\n" +
               kMap + kMap + kOpenGe2d + kFastlogo + put({}, "1 {out_value=1}") + shown("1") +
               kCloseBuffer + kExit,
           0),
    broken("FirstMap", "map:EPERM:1",
           kModernProbe + "initWithSize: mmap failed: Operation not permitted\n" + panel({}),
           kOpenIon + kAlloc + "map buffer 1 9 bytes rw shared = -1 EPERM\n" + kMap + kOpenGe2d +
               kFastlogo + put({}) + shown("1") + kCloseBuffer + kExit,
           0),
    broken("SecondMap", "map:EPERM:2",
           kModernProbe +
               "loadToBuffer: mmap failed: Operation not permitted\n"
               "initImageBuffer: failed load image data to buffer!\n" +
               kNoBuffer,
           kOpenIon + kAlloc + kMap + "map buffer 1 9 bytes rw shared = -1 EPERM\n" + kCloseBuffer +
               "close 4 /dev/ion\n",
           1),
    broken("FastlogoAndPut", "fastlogo:5,put:EIO",
           kModernProbe + "fastlogoCtrl: ioctl FBIO_SET_FASTLOGOMODE error\n" + panel({}) +
               "submitLayer: ioctl FBIOPUT_PLANEINFO error\nmain: submit osd layer error!\n",
           kLoaded + "ioctl 3 00004635 fastlogo {mode=0} = 5 {}\n" + put({}, "-1 EIO") +
               kCloseBuffer + kExit,
           0),
    {"NoDisplayNode",
     {"-i", "image.raw"},
     {"PLANESHOW_SIM_GE2D=absent"},
     kModernProbe +
         "svpdev: Open '/dev/ge2d' failed, No such file or directory\n"
         "fastlogoCtrl: ioctl FBIO_SET_FASTLOGOMODE error\n" +
         panel(with(&Layer::fd, "3")) +
         "submitLayer: ioctl FBIOPUT_PLANEINFO error\nmain: submit osd layer error!\n",
     kOpenIon + kAlloc + kMap + kMap + "open /dev/ge2d O_RDWR = -1 ENOENT\n" + kCloseBuffer +
         "close 4 /dev/ion\n",
     0},
    {"BadSetting",
     {"--help"},
     {"PLANESHOW_SIM_FAIL=put:EWRONG"},
     "",
     "",
     2,
     "planeshow-sim: PLANESHOW_SIM_FAIL=put:EWRONG: not request:answer[:n[+]]\n"},
};
INSTANTIATE_TEST_SUITE_P(Failures, Run, testing::ValuesIn(kFailures), nameOf);

Case parts(const char* name, std::vector<string> calls, std::vector<string> settings,
           const string& out, const string& results, const string& log) {
  calls.insert(calls.begin(), "@probe");
  return {name, calls, settings, out, log, 0, results};
}

const string kProbeOpen = "open /dev/ion O_RDONLY|O_CLOEXEC = 3\n";
const string kProbeFree = "ioctl 3 c0044901 free {handle=0} = -1 EINVAL\n";

// Single operations: their results and records, where a whole run can't show them.
const Case kParts[] = {
    parts("NullBeforeProbe", {"ion_open", "ion_alloc=null", "ion_alloc_fd=null"}, {}, "",
          "ion_open = 3 0\nion_alloc = -22 -7\nion_alloc_fd = -22 -7\n", kProbeOpen),
    parts("NullShareProbes", {"ion_open", "ion_share=null", "ion_share=null"}, {}, kModernProbe,
          "ion_open = 3 0\nion_share = -22 -7\nion_share = -22 -7\n",
          kProbeOpen + "ioctl 3 c0044901 = -1 ENOTTY\n"),
    parts("NoLegacyOnModern", {"ion_open", "ion_alloc=9", "ion_share=1", "ion_alloc_fd=4097"}, {},
          kModernProbe,
          "ion_open = 3 0\nion_alloc = -22 -7\nion_share = -22 -7\n"
          "ion_alloc_fd = 0 4\n",
          kProbeOpen + "ioctl 3 c0044901 = -1 ENOTTY\nioctl 3 c0184900 alloc "
                       "{len=4097 heap_mask=130 flags=5 fd=0 reserved=0} = 0 {fd=4}\n"),
    parts("ProbeThatSucceedsIsLegacy", {"ion_open", "ion_alloc=9", "ion_share=1"},
          {"PLANESHOW_SIM_ION=legacy", "PLANESHOW_SIM_FAIL=alloc:3"}, kLegacyProbe,
          "ion_open = 3 0\nion_alloc = 3 1\nion_share = 0 5\n",
          kProbeOpen + kProbeFree +
              "ioctl 3 c0144900 alloc "
              "{len=9 align=4096 heap_mask=2 flags=0 handle=0} = 3 {handle=1}\n"
              "ioctl 3 c0084904 share {handle=1 fd=0} = 0 {fd=5}\n"),
    parts("LegacyShareFails", {"ion_open", "ion_alloc_fd=9"},
          {"PLANESHOW_SIM_ION=legacy", "PLANESHOW_SIM_FAIL=share:EMFILE,free:EIO:2"},
          kLegacyProbe + "ioctl c0084904 failed with code -1: Too many open files\n\n"
                         "ioctl c0044901 failed with code -1: Input/output error\n\n",
          "ion_open = 3 0\nion_alloc_fd = -24 -7\n",
          kProbeOpen + kProbeFree +
              "ioctl 3 c0144900 alloc "
              "{len=9 align=64 heap_mask=130 flags=5 handle=0} = 0 {handle=1}\n"
              "ioctl 3 c0084904 share {handle=1 fd=0} = -1 EMFILE\n"
              "ioctl 3 c0044901 free {handle=1} = -1 EIO\n"),
    parts("LegacyShareNegative", {"ion_open", "ion_alloc_fd=9"},
          {"PLANESHOW_SIM_ION=legacy", "PLANESHOW_SIM_FAIL=share:nofd"},
          kLegacyProbe + "share ioctl returned negative fd\n\n",
          "ion_open = 3 0\nion_alloc_fd = -22 -7\n",
          kProbeOpen + kProbeFree +
              "ioctl 3 c0144900 alloc "
              "{len=9 align=64 heap_mask=130 flags=5 handle=0} = 0 {handle=1}\n"
              "ioctl 3 c0084904 share {handle=1 fd=0} = 0 {fd=-1}\n"
              "ioctl 3 c0044901 free {handle=1} = 0 {}\n"),
    {"OpenKeepsErrno",
     {"@probe", "ion_open"},
     {"PLANESHOW_SIM_ION=forbidden"},
     "",
     "open /dev/ion O_RDONLY|O_CLOEXEC = -1 EACCES\n",
     0,
     "ion_open = -1 13\n",
     "/dev/null"},
    parts("BuffersShareTheDevice", {"buffer=4096,7", "buffer=1,18446744073709551615"},
          {"PLANESHOW_SIM_MEMORY=8192"}, kModernProbe,
          "buffer = 4 4096 7 mapped\nbuffer = 4 1 9223372036854775807 mapped\n",
          kProbeOpen +
              "ioctl 3 c0044901 = -1 ENOTTY\nioctl 3 c0184900 alloc "
              "{len=4096 heap_mask=2 flags=0 fd=0 reserved=0} = 0 {fd=4}\n"
              "map buffer 1 4096 bytes rw shared = 0\nclose 4 buffer 1\nioctl 3 c0184900 alloc "
              "{len=1 heap_mask=2 flags=0 fd=0 reserved=0} = 0 {fd=4}\n"
              "map buffer 2 1 bytes rw shared = 0\nclose 4 buffer 2\nclose 3 /dev/ion\n"),
    parts("UnmappedBufferIsClosed", {"buffer=9,7"}, {"PLANESHOW_SIM_FAIL=map:EAGAIN"},
          kModernProbe + "initWithSize: mmap failed: Resource temporarily unavailable\n",
          "buffer = 4 9 7 MAP_FAILED\n",
          kProbeOpen +
              "ioctl 3 c0044901 = -1 ENOTTY\nioctl 3 c0184900 alloc "
              "{len=9 heap_mask=2 flags=0 fd=0 reserved=0} = 0 {fd=4}\n"
              "map buffer 1 9 bytes rw shared = -1 EAGAIN\nclose 4 buffer 1\nclose 3 /dev/ion\n"),
    parts("DeviceIsNotReopened", {"buffer=9,7", "buffer=9,7"}, {"PLANESHOW_SIM_ION=absent"},
          "open /dev/ion failed: No such file or directory\n\n"
          "iondev: ion_open() failed, No such file or directory\n"
          "ioctl c0044901 failed with code -1: Bad file descriptor\n\n"
          "ioctl c0144900 failed with code -1: Bad file descriptor\n\n"
          "initWithSize: ion alloacte faile, ret=-9\n"
          "ioctl c0144900 failed with code -1: Bad file descriptor\n\n"
          "initWithSize: ion alloacte faile, ret=-9\n",
          "buffer = -1 0 0 null\nbuffer = -1 0 0 null\n",
          "open /dev/ion O_RDONLY|O_CLOEXEC = -1 ENOENT\n"),
    parts("Image", {"image=image.raw", "load=-1,9", "load=0,0"}, {},
          "loadToBuffer: mmap failed: Bad file descriptor\n"
          "loadToBuffer: mmap failed: Invalid argument\n",
          "image = 0 123456789\nload = -1\nload = -1\n", ""),
    parts("Submit",
          {"submit=2,0", "submit=4294967295,0", "ion_open", "ion_alloc_fd=9", "submit=1,4",
           "submit=0,-1"},
          {},
          "submitLayer: osd id error!\nsubmitLayer: osd id error!\n" + kModernProbe +
              "submitLayer: ioctl FBIOPUT_PLANEINFO error\n",
          "submit = -1 -7 99\nsubmit = -1 -7 99\nion_open = 3 0\nion_alloc_fd = 0 4\n"
          "submit = 0 1 -1\nsubmit = -1 -1 -1\n",
          kProbeOpen +
              "ioctl 3 c0044901 = -1 ENOTTY\nioctl 3 c0184900 alloc "
              "{len=9 heap_mask=130 flags=5 fd=0 reserved=0} = 0 {fd=4}\n"
              "open /dev/ge2d O_RDWR = 5\n"
              "ioctl 5 00004631 put {channel=1 param_a=0 format=0 param_b=0 param_c=0 param_d=0 "
              "window_x=0 window_y=0 window_w=0 window_h=0 compress=0 buf_width=0 buf_height=0 "
              "crop_x=0 crop_y=0 crop_w=0 crop_h=0 dma_buf_fd=4 param_e=0 out_value=-1} = "
              "0 {out_value=1}\nlayer channel 1 buffer 1 9 bytes crc32 e60914ae\n"
              "ioctl 5 00004631 put {channel=0 param_a=0 format=0 param_b=0 param_c=0 param_d=0 "
              "window_x=0 window_y=0 window_w=0 window_h=0 compress=0 buf_width=0 buf_height=0 "
              "crop_x=0 crop_y=0 crop_w=0 crop_h=0 dma_buf_fd=-1 param_e=0 out_value=-1} = "
              "-1 EBADF\nclose 5 /dev/ge2d\n"),
    parts("ShowAndHide", {"blank=1,0", "blank=0,1", "blank=5,9", "fastlogo=1", "fastlogo=7"}, {},
          "blankCtrl: ioctl FBIOPRESENT_PLANE error\n"
          "fastlogoCtrl: ioctl FBIO_SET_FASTLOGOMODE error\n",
          "blank = 0\nblank = 0\nblank = -1\nfastlogo = 0\nfastlogo = -1\n",
          kOpenGe2d + kPresent + "{channel=0 enable=0} = 0 {}\n" + kPresent +
              "{channel=1 enable=1} = 0 {}\n" + kPresent +
              "{channel=9 enable=0} = -1 EINVAL\n"
              "ioctl 3 00004635 fastlogo {mode=1} = 0 {}\nioctl 3 00004635 fastlogo {mode=7} = "
              "-1 EINVAL\nclose 3 /dev/ge2d\n"),
    parts("DisplayIsNotReopened", {"fastlogo=1", "blank=1,0", "submit=0,0"},
          {"PLANESHOW_SIM_GE2D=absent"},
          "svpdev: Open '/dev/ge2d' failed, No such file or directory\n"
          "fastlogoCtrl: ioctl FBIO_SET_FASTLOGOMODE error\n"
          "blankCtrl: ioctl FBIOPRESENT_PLANE error\nsubmitLayer: ioctl FBIOPUT_PLANEINFO error\n",
          "fastlogo = -1\nblank = -1\nsubmit = -1 -1 -1\n", "open /dev/ge2d O_RDWR = -1 ENOENT\n"),
};
INSTANTIATE_TEST_SUITE_P(Parts, Run, testing::ValuesIn(kParts), nameOf);

}  // namespace
