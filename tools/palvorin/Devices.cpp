// palvorin devices: the candidate diagnostic ports of this machine. Serial ports and character devices are
// known by their names (USB serial converters and modems, the WWAN subsystem's ports, a modem's own
// character devices); USB interfaces by the rule of USBDescriptor.h, with the device's ids and names and
// the driver that holds the interface.

#include <dirent.h>
#include <libusb.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <map>
#include <string>
#include <vector>

#include "tools/palvorin/Commands.h"
#include "tools/palvorin/USBDevices.h"

namespace {

// Names in /dev of serial ports and character devices that may carry a diagnostic port.
const char* const kPrefixes[] = {
    "ttyUSB",  // USB serial converters: a phone's ports with a serial driver bound
    "ttyACM",  // USB modems of the communications class
    "ttyHS",   // high-speed USB modem ports
    "wwan",    // the WWAN subsystem's ports of USB and PCIe modems
    "mhi_",    // the ports of PCIe modems on the modem-host interface bus
};
const char* const kNames[] = {"diag"};  // a device's own diagnostic character device
const char kById[] = "/dev/serial/by-id/";

bool Listed(const std::string& name) {
    for (const char* prefix : kPrefixes) {
        if (name.compare(0, strlen(prefix), prefix) == 0) {
            return true;
        }
    }
    return std::find_if(std::begin(kNames), std::end(kNames), [&](const char* n) { return name == n; }) !=
           std::end(kNames);
}

// The /dev/serial/by-id names by the device they lead to.
std::map<std::string, std::string> StableNames() {
    std::map<std::string, std::string> names;
    DIR* directory = opendir(kById);
    if (directory == nullptr) {
        return names;
    }
    while (const dirent* entry = readdir(directory)) {
        if (entry->d_name[0] == '.') {
            continue;
        }
        const std::string link = kById + std::string(entry->d_name);
        char target[PATH_MAX];
        if (realpath(link.c_str(), target) != nullptr) {
            names[target] = link;
        }
    }
    closedir(directory);
    return names;
}

void ListCharacterDevices() {
    std::vector<std::string> found;
    DIR* directory = opendir("/dev");
    if (directory != nullptr) {
        while (const dirent* entry = readdir(directory)) {
            if (Listed(entry->d_name)) {
                found.push_back(std::string("/dev/") + entry->d_name);
            }
        }
        closedir(directory);
    }
    std::sort(found.begin(), found.end());
    const std::map<std::string, std::string> stable = StableNames();
    printf("Serial ports and character devices (capture PATH):\n");
    size_t shown = 0;
    for (const std::string& path : found) {
        struct stat file;
        if (stat(path.c_str(), &file) != 0 || !S_ISCHR(file.st_mode)) {
            continue;
        }
        // Told apart without opening the device (opening a serial port raises its control lines): the
        // system lists every terminal under /sys/class/tty.
        struct stat terminal;
        const std::string sysfs = "/sys/class/tty/" + path.substr(strlen("/dev/"));
        std::string kind = stat(sysfs.c_str(), &terminal) == 0 ? "terminal" : "character device";
        if (access(path.c_str(), R_OK | W_OK) != 0) {
            kind += " (no permission)";
        }
        const auto name = stable.find(path);
        printf("  %-20s %-32s%s\n", path.c_str(), kind.c_str(),
               name != stable.end() ? name->second.c_str() : "");
        ++shown;
    }
    if (shown == 0) {
        printf("  none (no /dev/ttyUSB*, /dev/ttyACM*, /dev/ttyHS*, /dev/wwan*, /dev/mhi_* or /dev/diag)\n");
    }
}

void ListUSB() {
    printf(
        "USB interfaces with a diagnostic port (capture usb:VID:PID:INTERFACE; class ff, subclass ff,\n"
        "protocol 30 or ff, one bulk IN and one bulk OUT endpoint):\n");
    libusb_context* context = nullptr;
    const int status = libusb_init(&context);
    if (status != 0) {
        printf("  USB cannot be listed: %s\n", libusb_strerror(status));
        return;
    }
    {
        cUSBDeviceList list;
        std::string error;
        if (!list.Load(context, error)) {
            printf("  USB cannot be listed: %s\n", error.c_str());
        } else {
            size_t shown = 0;
            size_t unreadable = 0;
            for (const sUSBDevice& device : list.mDevices) {
                const std::string ids = USBIds(device.mVendor, device.mProduct);
                if (!device.mInterfacesRead) {
                    printf("  usb:%s  bus %d address %d: its descriptors cannot be read (run as root?)\n",
                           ids.c_str(), device.mBus, device.mAddress);
                    ++unreadable;
                    continue;
                }
                const std::vector<sUSBInterface> candidates = DiagCandidates(device.mInterfaces);
                for (size_t i = 0; i < candidates.size(); ++i) {
                    const sUSBInterface& interface = candidates[i];
                    const std::string driver = USBInterfaceDriver(device, interface.mNumber);
                    printf(
                        "  usb:%s:%-3u bus %d address %d  %s%s%s  interface %u (ff/ff/%02x, IN 0x%02x, OUT "
                        "0x%02x)%s  driver: %s\n",
                        ids.c_str(), interface.mNumber, device.mBus, device.mAddress, device.mMaker.c_str(),
                        device.mMaker.empty() ? "" : " ", device.mModel.c_str(), interface.mNumber,
                        interface.mProtocol, interface.mIn, interface.mOut,
                        i == 0 ? "  (usb picks this one)" : "", driver.empty() ? "none" : driver.c_str());
                    ++shown;
                }
            }
            if (shown == 0 && unreadable == 0) {
                printf(
                    "  none (%zu USB devices, none with such an interface; is the phone plugged in, with its "
                    "diagnostic port switched on?)\n",
                    list.mDevices.size());
            }
        }
    }
    libusb_exit(context);
}

}  // namespace

int RunDevices() {
    ListCharacterDevices();
    ListUSB();
    return 0;
}
