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
//            libburn (/dev/sr0..31) and libcdio (/dev/sr0..27) find it. Other names work when
//            opened by name.
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
//     offset=0               read offset in samples: a read of sector L returns the audio that
//                            starts N samples before L (ripping with offset N corrects it)
//     cache=512              sectors kept by the read cache; reads ahead a quarter of it
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
// WHAT IS MODELLED: what libburn, libcdio and cd-paranoia ask of a drive, as the drive tests
// use them (each command and ioctl the log of a run of all of them shows), and no more.
// System calls: open and __open_2 of a node give a memfd that stands for it; O_EXCL is
//   exclusive against other O_EXCL opens, a blocking open needs a disc and refuses writing (as
//   the sr driver). close; stat, lstat, __xstat and fstat report a block device (major 11).
//   realpath resolves /sys/class/block/NAME/device (and /sys/block/...) to a SCSI device folder
//   named "H:C:T:L".
// Ioctls (Ioctls.cpp): SG_IO and CDROM_SEND_PACKET run commands; CDROMREADTOCHDR,
//   CDROMREADTOCENTRY, CDROMMULTISESSION, CDROM_GET_MCN, CDROMSUBCHNL, CDROM_DRIVE_STATUS,
//   CDROM_DISC_STATUS, CDROM_GET_CAPABILITY, CDROMEJECT (EBUSY while another descriptor is open,
//   as the kernel) and CDROM_SELECT_SPEED are answered by sending the commands the kernel sends
//   (logged as "kernel"); also CDROMVOLREAD, SCSI_IOCTL_GET_IDLUN, SCSI_IOCTL_GET_BUS_NUMBER.
//   DVD_READ_STRUCT gives ENOSYS (a CD drive), BLKRRPART EINVAL, others ENOTTY.
// Commands (Drive*.cpp), with fixed-format sense data on CHECK CONDITION; any other opcode
//   gets ILLEGAL REQUEST 5/20/00, bad fields 5/24/00 or 5/26/00, no disc 2/3A/01 or 02:
//   TEST UNIT READY, INQUIRY, START STOP UNIT, PREVENT ALLOW MEDIUM REMOVAL, GET CONFIGURATION
//   (profiles CD-ROM, CD-R, CD-RW by drive and disc, and the features of a CD writer), MODE
//   SENSE(10) (current values of pages 01, 05, 0E, 2A) and MODE SELECT(10) (page 05), GET
//   PERFORMANCE types 0 and 3, SET CD SPEED (the fastest speed of the table not above the one
//   asked for), READ TOC/PMA/ATIP formats 0, 1, 2, 4, 5, READ DISC INFORMATION, READ TRACK
//   INFORMATION by track number (the invisible track with its next writable address), READ
//   CAPACITY, READ SUB-CHANNEL (position, MCN, ISRC), READ CD (audio: the frame, C2 pointers and
//   the formatted Q sub-channel), SEND CUE SHEET, WRITE(10) (2352-byte audio blocks),
//   SYNCHRONIZE CACHE, CLOSE TRACK/SESSION, READ BUFFER CAPACITY, BLANK (CD-RW only).
// Writing:
//   SAO: the cue sheet fixes the layout; writes must then be sequential from -150 (or from the
//   ATIP lead-in start with 96-byte blocks of R-W CD-Text packs) to the lead-out. SYNCHRONIZE
//   CACHE after the last sector closes the session (lead-in and lead-out take their time).
//   TAO: each track starts at the next writable address; the drive writes a pause of page 05's
//   length (150) before every track after the first of a session. SYNCHRONIZE CACHE ends a
//   track (padded to 4 seconds); CLOSE SESSION closes the session.
//   Multi-session 11b in page 05 leaves the disc appendable (the next session starts 11400
//   sectors after the lead-out, less for later sessions). A test write records nothing.
//   Writing that stops early leaves a damaged disc (damage bit, no next writable address).
//   The drive's buffer fills with each WRITE and drains at the write speed; a WRITE waits for
//   room. Only underrun= makes an underrun. Immediate SYNCHRONIZE CACHE, CLOSE and BLANK return
//   at once and TEST UNIT READY reports NOT READY 2/04/08 or 2/04/07 (with progress) until done.
// Not modelled: reading or writing data tracks (a cue= disc may list MODE1/2352 tracks; their
//   sectors are refused), RAW and packet writing, DVD and BD, audio play, reads through the
//   block device, sg nodes, unit attentions, several discs at once in a changer.
