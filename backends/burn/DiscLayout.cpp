#include "backends/burn/DiscLayout.h"

#include "components/Error.h"

#include <libburn/libburn.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <new>

using namespace burn;

namespace burning {

namespace {

constexpr int kDataSectorBytes = 2048;

// What our burn_source carries: the program it reads one track of, and how much libburn took.
struct FeedSource {
    ProgramReader* reader = nullptr;
    off_t size = 0;
    off_t announced = 0;
    off_t delivered = 0;
    int trackNumber = 0;
    SourceErrors* errors = nullptr;
    const std::atomic<bool>* closed = nullptr;
};

// Called by libburn on its writer thread; nothing may be thrown into C.
int readFeed(burn_source* source, unsigned char* buffer, int size) noexcept {
    auto* f = static_cast<FeedSource*>(source->data);
    const off_t wanted = std::min<off_t>(size, f->size - f->delivered);
    if (wanted <= 0 || f->closed->load() || !f->reader)
        return 0;
    try {
        const qint64 got = f->reader->read(reinterpret_cast<char*>(buffer), wanted);
        f->delivered += got;
        if (got < wanted && !f->closed->load()) {
            f->errors->record(QStringLiteral("Track %1 ended after %2 of its %3 bytes.")
                                  .arg(f->trackNumber)
                                  .arg(f->delivered)
                                  .arg(f->size));
            return -1;
        }
        return int(got);
    } catch (const Error& e) {
        f->errors->record(e.message());
    } catch (const std::exception& e) {
        f->errors->record(QString::fromLocal8Bit(e.what()));
    } catch (...) {
        f->errors->record(QStringLiteral("Track %1 could not be read.").arg(f->trackNumber));
    }
    return -1;
}

off_t feedSize(burn_source* source) noexcept {
    return static_cast<FeedSource*>(source->data)->announced;
}

int setFeedSize(burn_source* source, off_t size) noexcept {
    static_cast<FeedSource*>(source->data)->announced = size;
    return 1;
}

void freeFeed(burn_source* source) noexcept {
    delete static_cast<FeedSource*>(source->data);
}

// libburn stopped reading early; the feed's own cancel is the run's business.
int cancelFeed(burn_source*) noexcept {
    return 1;
}

burn_source* newFeedSource(FeedSource* data) {
    // libburn frees the struct itself with free() once the last reference is gone.
    auto* s = static_cast<burn_source*>(std::calloc(1, sizeof(burn_source)));
    if (!s) {
        delete data;
        throw std::bad_alloc();
    }
    s->refcount = 1;
    s->read = nullptr;
    s->version = 1;
    s->read_xt = readFeed;
    s->cancel = cancelFeed;
    s->get_size = feedSize;
    s->set_size = setFeedSize;
    s->free_data = freeFeed;
    s->data = data;
    return s;
}

// CD-Text is ISO-8859-1 here; characters it lacks become '?'.
bool setText(burn_track* track, const char* type, const QString& text) {
    QByteArray bytes = text.toLatin1();
    return burn_track_set_cdtext(track, 0, 0, const_cast<char*>(type),
                                 reinterpret_cast<unsigned char*>(bytes.data()),
                                 int(bytes.size()) + 1, 0) > 0;
}

bool setText(burn_session* session, const char* type, const QString& text) {
    QByteArray bytes = text.toLatin1();
    return burn_session_set_cdtext(session, 0, 0, const_cast<char*>(type),
                                   reinterpret_cast<unsigned char*>(bytes.data()),
                                   int(bytes.size()) + 1, 0) > 0;
}

} // namespace

void SourceErrors::record(const QString& message) {
    std::lock_guard lock(m_mutex);
    if (m_failed.load())
        return;
    m_message = message;
    m_failed.store(true);
}

QString SourceErrors::message() const {
    std::lock_guard lock(m_mutex);
    return m_message;
}

DiscLayout::DiscLayout(const std::vector<PlannedTrack>& tracks,
                       const std::vector<TrackPlace>& places, const DiscInfo& discInfo, Mode mode,
                       ProgramReader* reader)
    : m_sectorBytes(mode == Mode::Audio ? kAudioSectorBytes : kDataSectorBytes) {
    m_disc = burn_disc_create();
    m_session = burn_session_create();
    if (!m_disc || !m_session)
        throw std::bad_alloc();
    burn_disc_add_session(m_disc, m_session, BURN_POS_END);
    burn_session_free(m_session); // the disc holds it now

    int number = 0;
    for (const PlannedTrack& planned : tracks) {
        const TrackPlace& place = places[size_t(number)];
        ++number;
        burn_track* track = burn_track_create();
        if (!track)
            throw std::bad_alloc();
        int kind = BURN_MODE1;
        if (mode == Mode::Audio)
            kind = BURN_AUDIO | (planned.info.preEmphasis ? BURN_PREEMPHASIS : 0) |
                   (planned.info.copyPermitted ? BURN_COPY : 0);
        burn_track_define_data(track, 0, 0, 1, kind);
        if (place.index1Sector > place.firstSector) {
            // The gap is the track's own data before INDEX 01 (a session-at-once burn only).
            burn_track_set_index(track, 0, 0, 0);
            burn_track_set_index(track, 1, unsigned(place.index1Sector - place.firstSector), 0);
        }
        if (planned.info.isrc.size() == 12) {
            QByteArray isrc = planned.info.isrc.toLatin1();
            burn_track_set_isrc_string(track, isrc.data(), 0);
        }
        auto* data = new FeedSource;
        data->reader = reader;
        data->size = data->announced = off_t(place.sectors) * m_sectorBytes;
        data->trackNumber = number;
        data->errors = &m_errors;
        data->closed = &m_closed;
        burn_source* source = newFeedSource(data);
        const burn_source_status status = burn_track_set_source(track, source);
        burn_source_free(source); // the track holds it now
        burn_session_add_track(m_session, track, BURN_POS_END);
        burn_track_free(track);
        if (status != BURN_SOURCE_OK)
            throw Error(QStringLiteral("The burning library refused track %1 (%2).")
                            .arg(number)
                            .arg(planned.source));
    }
    if (mode == Mode::Audio)
        attachCdText(tracks, discInfo);
}

DiscLayout::~DiscLayout() {
    burn_disc_free(m_disc);
}

void DiscLayout::closeSources() {
    m_closed.store(true);
}

void DiscLayout::attachCdText(const std::vector<PlannedTrack>& tracks, const DiscInfo& disc) {
    const auto has = [&](QString TrackInfo::*field, const QString& discText) {
        return !discText.isEmpty() ||
               std::any_of(tracks.begin(), tracks.end(),
                           [&](const PlannedTrack& t) { return !(t.info.*field).isEmpty(); });
    };
    const struct {
        const char* name;
        QString TrackInfo::*field;
        QString discText;
    } kinds[] = {{"TITLE", &TrackInfo::title, disc.title},
                 {"PERFORMER", &TrackInfo::performer, disc.performer},
                 {"SONGWRITER", &TrackInfo::songwriter, disc.songwriter}};
    int count = 0;
    burn_track** list = burn_session_get_tracks(m_session, &count);
    bool any = false;
    bool ok = true;
    for (const auto& kind : kinds) {
        // Titles and performers go together, as players expect both.
        const bool wanted =
            kind.field == &TrackInfo::songwriter
                ? has(kind.field, kind.discText)
                : has(&TrackInfo::title, disc.title) || has(&TrackInfo::performer, disc.performer);
        if (!wanted)
            continue;
        any = true;
        // libburn makes packs of a kind only when the session has that kind too.
        ok = ok && setText(m_session, kind.name, kind.discText);
        for (int i = 0; ok && i < count; ++i)
            ok = setText(list[i], kind.name, tracks[size_t(i)].info.*kind.field);
    }
    if (!any)
        return;
    // Texts too long for the lead-in leave the disc without CD-Text rather than unburnt.
    if (ok && burn_cdtext_from_session(m_session, nullptr, nullptr, 1) > 0) {
        m_cdText = true;
        return;
    }
    burn_session_dispose_cdtext(m_session, -1);
    for (int i = 0; i < count; ++i)
        burn_track_dispose_cdtext(list[i], -1);
}

} // namespace burning
