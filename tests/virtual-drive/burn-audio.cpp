// burn-audio: burns raw CD audio files (16-bit little-endian stereo) as the tracks of an audio
// CD with libburn, for the virtual drive's tests. It says what libburn saw before and after.
//   burn-audio DEVICE [--tao] [--simulate] [--keep-open] [--no-bufe] [--cd-text] FILE...
//   burn-audio DEVICE --status
// Prints "before: STATUS", the drive states it passed, libburn's complaints, "wrote well: yes"
// or "no" and "after: STATUS" (blank, appendable, full, empty, other). Exit status 0 when the
// burn went well.
#include <libburn/libburn.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <set>
#include <string>
#include <thread>
#include <vector>

using namespace burn;

namespace {

const char* statusName(burn_disc_status status) {
    switch (status) {
    case BURN_DISC_BLANK:
        return "blank";
    case BURN_DISC_APPENDABLE:
        return "appendable";
    case BURN_DISC_FULL:
        return "full";
    case BURN_DISC_EMPTY:
        return "empty";
    default:
        return "other";
    }
}

void printMessages() {
    int code = 0;
    int osErrno = 0;
    char text[BURN_MSGS_MESSAGE_LEN];
    char severity[80];
    while (burn_msgs_obtain(const_cast<char*>("SORRY"), &code, text, &osErrno, severity) == 1)
        std::printf("libburn %s: %s\n", severity, text);
}

burn_drive_info* grab(std::string device) {
    burn_drive_info* infos = nullptr;
    if (burn_drive_scan_and_grab(&infos, device.data(), 1) <= 0 || !infos)
        return nullptr;
    return infos;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::fprintf(stderr, "usage: burn-audio DEVICE [options] FILE...\n");
        return 2;
    }
    const std::string device = argv[1];
    bool tao = false, simulate = false, keepOpen = false, bufe = true, cdText = false;
    bool statusOnly = false;
    std::vector<std::string> files;
    for (int i = 2; i < argc; ++i) {
        const std::string a = argv[i];
        if (a == "--tao")
            tao = true;
        else if (a == "--simulate")
            simulate = true;
        else if (a == "--keep-open")
            keepOpen = true;
        else if (a == "--no-bufe")
            bufe = false;
        else if (a == "--cd-text")
            cdText = true;
        else if (a == "--status")
            statusOnly = true;
        else
            files.push_back(a);
    }
    if (!burn_initialize())
        return 3;
    burn_msgs_set_severities(const_cast<char*>("SORRY"), const_cast<char*>("NEVER"),
                             const_cast<char*>("burn-audio: "));
    burn_drive_info* infos = grab(device);
    if (!infos) {
        std::printf("cannot grab %s\n", device.c_str());
        printMessages();
        burn_finish();
        return 1;
    }
    burn_drive* drive = infos[0].drive;
    std::printf("before: %s\n", statusName(burn_disc_get_status(drive)));
    if (statusOnly) {
        burn_drive_release(drive, 0);
        burn_drive_info_free(infos);
        burn_finish();
        return 0;
    }

    burn_disc* disc = burn_disc_create();
    burn_session* session = burn_session_create();
    burn_disc_add_session(disc, session, BURN_POS_END);
    std::vector<burn_source*> sources;
    for (size_t i = 0; i < files.size(); ++i) {
        burn_track* track = burn_track_create();
        burn_track_define_data(track, 0, 0, 1, BURN_AUDIO);
        burn_source* source = burn_file_source_new(files[i].c_str(), nullptr);
        if (!source) {
            std::printf("cannot read %s\n", files[i].c_str());
            return 1;
        }
        burn_track_set_source(track, source);
        if (cdText) {
            const std::string title = "Track " + std::to_string(i + 1);
            burn_track_set_cdtext(
                track, 0, 0x80, const_cast<char*>(""),
                reinterpret_cast<unsigned char*>(const_cast<char*>(title.c_str())),
                int(title.size() + 1), 0);
            burn_track_set_isrc(track, const_cast<char*>("XY"), const_cast<char*>("ABC"), 24,
                                unsigned(100 + i));
        }
        burn_session_add_track(session, track, BURN_POS_END);
        burn_track_free(track);
        sources.push_back(source);
    }
    if (cdText)
        burn_session_set_cdtext(session, 0, 0x80, const_cast<char*>(""),
                                reinterpret_cast<unsigned char*>(const_cast<char*>("Album")), 6, 0);

    burn_write_opts* options = burn_write_opts_new(drive);
    burn_write_opts_set_simulate(options, simulate ? 1 : 0);
    burn_write_opts_set_multi(options, keepOpen ? 1 : 0);
    burn_write_opts_set_underrun_proof(options, bufe ? 1 : 0);
    char reasons[BURN_REASONS_LEN] = {};
    if (burn_write_opts_set_write_type(options, tao ? BURN_WRITE_TAO : BURN_WRITE_SAO,
                                       tao ? BURN_BLOCK_MODE1 : BURN_BLOCK_SAO) <= 0 ||
        burn_precheck_write(options, disc, reasons, 0) <= 0) {
        std::printf("refused: %s\n", reasons);
        printMessages();
        return 1;
    }
    burn_drive_set_speed(drive, 0, 0);
    burn_disc_write(options, disc);
    std::set<int> seen;
    burn_progress progress{};
    burn_drive_status state;
    while ((state = burn_drive_get_status(drive, &progress)) != BURN_DRIVE_IDLE) {
        if (seen.insert(state).second)
            std::printf("state %d\n", int(state));
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    const bool well = burn_drive_wrote_well(drive);
    std::printf("wrote well: %s\n", well ? "yes" : "no");
    printMessages();
    burn_write_opts_free(options);
    burn_session_free(session);
    burn_disc_free(disc);
    for (burn_source* s : sources)
        burn_source_free(s);
    burn_drive_release(drive, 0);
    burn_drive_info_free(infos);

    // The disc as the drive shows it now, after a new grab as a later program would see it.
    if ((infos = grab(device))) {
        std::printf("after: %s\n", statusName(burn_disc_get_status(infos[0].drive)));
        burn_drive_release(infos[0].drive, 0);
        burn_drive_info_free(infos);
    }
    burn_finish();
    return well ? 0 : 1;
}
