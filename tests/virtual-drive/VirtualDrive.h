#pragma once

// libvirtualdrive.so: virtual MMC CD writers for the tests, loaded with LD_PRELOAD into any
// program (Melvane's own, cd-info, cd-paranoia ...). It is test support and is never linked
// into the product.
//
// USE
//   LD_PRELOAD=build/tests/virtual-drive/libvirtualdrive.so \
//   VIRTUAL_DRIVE='/dev/sr7:blank-cdr' VIRTUAL_DRIVE_SAVE=out \
//   melvane-cli burn --recorder 1 a.mp3 b.wav
//
// VIRTUAL_DRIVE lists the drives, separated by ';', each NODE:DISC[:OPTIONS].
//   NODE     an absolute device path. Name it /dev/srN (N = 0..27) so that the drive scans of
//            libburn (/dev/sr0..31) and libcdio (/dev/sr0..27) find it; /dev/sgN makes an sg
//            node instead (char major 21). Other names work when opened by name.
//   DISC     blank-cdr, blank-cdrw, none (tray closed, no disc) or cue=PATH (a CUE/BIN image,
//            see CueFile.h; PATH may not contain ':').
//   OPTIONS  key=value, separated by ','. Lists inside a value use '/'.
//     vendor=, product=, revision=  INQUIRY strings (8, 16, 4 characters at most)
//     kind=cdrw|cdr|rom      what the drive writes (default cdrw: CD-R and CD-RW; rom: reads)
//     speeds=4/8/16/24       write speeds in x (1x = 176.4 kB/s); default 4/8/16/24/32/40/48
//     read=48                fastest read speed in x
//     buffer=2048            buffer size in KB
//     burnproof=1            buffer underrun protection (BUFE) offered
//     testwrite=1            test writes offered
//     modes=sao/tao          write types offered (RAW and packet writing are never offered)
//     c2=1                   C2 error pointers offered by READ CD
//     offset=0               read offset in samples: a read of sector L returns the audio that
//                            starts N samples before L (ripping with offset N corrects it)
//     overread=0             reads into the lead-in and lead-out allowed (they read as silence)
//     cache=512              sectors kept by the read cache; reads ahead a quarter of it
//     seek=10                milliseconds to reach a sector that does not follow the last read
//     spinup=0               seconds the disc takes to spin up: after the tray closes (TEST UNIT
//                            READY says "becoming ready"), and on first access once stopped
//     idle=0                 seconds without access after which the disc stops (0: never)
//     timescale=1            factor on every modelled time (spin-up, read and write speed,
//                            closing, blanking); 0 makes the drive instant
//     address=H.C.T.L        SCSI address; default host 100 + the drive's place in the list
//     media=rom|cdr|cdrw     kind of a cue= disc (default rom: a pressed disc)
//     state=complete|appendable   a cue= disc on CD-R/RW: closed, or open for another session
//     size=80                capacity in minutes of blank media
//     tray=open|closed       the tray at start (a disc in an open tray loads when it closes)
//   Faults:
//     bad=A-B[/N]            sectors A..B unreadable: READ CD gives MEDIUM ERROR 3/11/05 with
//                            the sector in INFORMATION; with C2 pointers asked for, the drive
//                            returns damaged samples flagged in the C2 bytes instead. N > 0:
//                            only the first N reads of each sector fail. Repeatable.
//     jitter=A-B[/N]         a read starting in A..B returns audio shifted by a few samples
//                            (the first N such reads; every one without N). Repeatable.
//     remove=N               the disc is taken out (tray open, disc gone) once N sectors have
//                            been read or written; later commands get NOT READY 2/3A/02
//     writeerror=LBA         writing sector LBA fails with MEDIUM ERROR 3/0C/00
//     underrun=LBA           the host "stalls" at sector LBA: with BUFE on in the write
//                            parameters the drive carries on; without it the write fails with
//                            3/0C/09 and the disc is left damaged
//
// VIRTUAL_DRIVE_SAVE=DIR   each time a session is closed for real, the disc is saved as
//                          DIR/NAME.cue and DIR/NAME.bin (NAME is the node's file name, "sr7"),
//                          readable by cd-info, cd-paranoia and this library (cue=).
// VIRTUAL_DRIVE_LOG=FILE   one line per open, close, ioctl and command (see Log.h).
//
// WHAT IS MODELLED, AND HOW FAITHFULLY
// System calls: open/open64/openat (and their _2 forms) of a node give a memfd that stands for
//   it; O_EXCL is exclusive against other O_EXCL opens, a blocking open needs a disc and
//   refuses writing (as the sr driver). close, dup, fcntl(F_DUPFD); stat, lstat, fstat,
//   fstatat, statx and the old __xstat forms report a block device (major 11; 21 for sg);
//   access; read/pread/lseek read 2048-byte blocks of data tracks. realpath and readlink
//   resolve /sys/class/block/NAME/device (and /sys/block/...) to a SCSI device folder named
//   "H:C:T:L", which stat reports as a folder.
// Ioctls (Ioctls.cpp): SG_IO and CDROM_SEND_PACKET run commands; CDROMREADTOCHDR,
//   CDROMREADTOCENTRY, CDROMMULTISESSION, CDROM_GET_MCN, CDROMSUBCHNL, CDROM_DRIVE_STATUS,
//   CDROM_DISC_STATUS, CDROM_MEDIA_CHANGED, CDROM_GET_CAPABILITY, CDROMEJECT (EBUSY while
//   another descriptor is open, as the kernel), CDROMCLOSETRAY, CDROM_LOCKDOOR,
//   CDROM_SELECT_SPEED, CDROMPLAYMSF, CDROMPLAYTRKIND, CDROMPAUSE/RESUME/STOP/START,
//   CDROMREADAUDIO, CDROMREADMODE1, CDROMREADRAW are answered by sending the commands the
//   kernel sends (logged as "kernel"). SCSI_IOCTL_GET_IDLUN, SCSI_IOCTL_GET_BUS_NUMBER,
//   SG_GET_VERSION_NUM, SG_GET_SCSI_ID (sg nodes only; ENOTTY on sr nodes, as Linux),
//   SG_EMULATED_HOST, SG_GET/SET_TIMEOUT, SG_GET/SET_RESERVED_SIZE, BLKGETSIZE(64),
//   BLKSSZGET, BLKBSZGET. DVD_READ_STRUCT gives ENOSYS (a CD drive); others ENOTTY.
// Commands (Drive*.cpp), with fixed-format sense data on CHECK CONDITION; any other opcode
//   gets ILLEGAL REQUEST 5/20/00, bad fields 5/24/00 or 5/26/00, no disc 2/3A/01 or 02:
//   TEST UNIT READY, REQUEST SENSE (including progress of blanking and closing), INQUIRY
//   (standard data, VPD pages 00 and 80), START STOP UNIT (load, eject, start, stop), PREVENT
//   ALLOW MEDIUM REMOVAL, GET CONFIGURATION (profiles CD-ROM 08h, CD-R 09h, CD-RW 0Ah by drive
//   and disc; features 0000-0003, 0010, 001D, 001E, 002D CD TAO, 002E CD mastering/SAO, 0037,
//   0100, 0103, 0105, 0107, 0108), MODE SENSE/SELECT (6) and (10) with pages 01, 05 (write
//   type, test write, BUFE, multi-session, track mode, block type, MCN, ISRC), 0E and 2A
//   (speeds, buffer, BUF, C2, write speed descriptors), GET EVENT STATUS NOTIFICATION (media
//   class, polled), GET PERFORMANCE types 0 and 3, SET CD SPEED (the fastest speed of the
//   table not above the one asked for), MECHANISM STATUS, READ TOC/PMA/ATIP formats 0-5
//   (full TOC with A0-A2, B0 and C0 points; CD-Text packs), READ DISC INFORMATION, READ TRACK
//   INFORMATION (by LBA, track, session, and the invisible track with its next writable
//   address), READ CAPACITY, READ SUB-CHANNEL (position, MCN, ISRC), READ CD and READ CD MSF
//   (audio, mode 1 with its header fields, C2 pointers, formatted Q and raw P-W sub-channel),
//   READ(10)/(12) of data tracks, SEEK, PLAY AUDIO (10, 12, MSF), PAUSE/RESUME, STOP PLAY,
//   SEND CUE SHEET, WRITE(10)/(12), SYNCHRONIZE CACHE, CLOSE TRACK/SESSION, READ BUFFER
//   CAPACITY, BLANK (full and minimal, CD-RW only), SEND OPC INFORMATION.
// Writing:
//   SAO: the cue sheet (TNO and INDEX in binary, MSF in binary, data forms 00h audio and 10h
//   mode 1; lead-in form 41h means CD-Text) fixes the layout; writes must then be sequential
//   from -150 (or from the ATIP lead-in start with 96-byte blocks of R-W CD-Text packs) to the
//   lead-out. SYNCHRONIZE CACHE after the last sector closes the session (lead-in and lead-out
//   take their time at the write speed).
//   TAO: each track starts at the next writable address READ TRACK INFORMATION reports; the
//   drive writes a pause of page 05's length (150) before every track after the first of a
//   session, so a track's data starts at its index 1. SYNCHRONIZE CACHE or CLOSE TRACK ends a
//   track (padded to 4 seconds); CLOSE SESSION closes the session. Page 05's ISRC and MCN are
//   taken at a track's start and at the session's close.
//   Multi-session 11b in page 05 leaves the disc appendable (the next session starts 11400
//   sectors after the lead-out, 6750 + 4500 + 150, less for later sessions); otherwise it is
//   complete. A test write records nothing: the disc reads as before. Writing that stops
//   early leaves a damaged disc (damage bit, no next writable address).
//   The drive's buffer fills with each WRITE and drains at the write speed; a WRITE waits for
//   room. A buffer that runs dry because the host is slow is not treated as an underrun: only
//   underrun= makes one. Immediate SYNCHRONIZE CACHE, CLOSE and BLANK return at once and
//   TEST UNIT READY reports NOT READY 2/04/08 (writing) or 2/04/07 (with progress) until done.
// Not modelled: RAW and packet writing, DVD and BD, mode 2 and CD-i tracks, unit attention
//   conditions (the kernel consumes them), power conditions beyond spin-up and idle stop,
//   several discs at once in a changer, the 2-block run-out that real TAO tracks carry.
