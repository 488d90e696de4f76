#include "demo/backupplan.h"

namespace demo {

namespace {

constexpr uint64_t kMiB = 1024ull * 1024;
constexpr uint64_t kGiB = 1024 * kMiB;

// splitmix64: small, fast and the same on every platform, unlike the
// standard distributions.
class PlanRandom {
  public:
    explicit PlanRandom(uint64_t seed) : state_(seed) {}
    uint64_t next() {
        uint64_t z = (state_ += 0x9e3779b97f4a7c15ull);
        z = (z ^ (z >> 30)) * 0xbf58476d1ce4e5b9ull;
        z = (z ^ (z >> 27)) * 0x94d049bb133111ebull;
        return z ^ (z >> 31);
    }
    // lo..hi inclusive
    uint64_t between(uint64_t lo, uint64_t hi) { return lo + next() % (hi - lo + 1); }
    // true with probability p
    bool chance(double p) { return static_cast<double>(next() % 1000000) < p * 1000000.0; }

  private:
    uint64_t state_;
};

// Sizes are whole database blocks.
uint64_t blocks(double bytes) {
    uint64_t b = static_cast<uint64_t>(bytes);
    return b < 8192 ? 8192 : b - b % 8192;
}

// Writes one database's pieces of one day.
class DayWriter {
  public:
    DayWriter(const PlanOptions& o, const DemoDatabase& db, uint32_t* nextSet, PlanRandom* rnd,
              std::vector<BackupPiece>* out)
        : options_(o), db_(db), nextSet_(nextSet), rnd_(rnd), out_(out) {}

    void writeDay(int dayIndex) {
        dayIndex_ = dayIndex;
        day_ = fromDayNumber(dayNumber(options_.firstDay) + dayIndex);
        autobackups_ = 0;
        const bool sunday = weekday(day_) == 0;
        if (options_.diskBackups && weekday(day_) == 6) diskBackup();
        for (int hour : {6, 14}) {
            DemoTime t = jobStart(hour);
            t = backupSet(t, PieceKind::ArchiveLog, archiveBytes(), true);
            autobackup(t);
        }
        DemoTime t = jobStart(21);
        const PieceKind level = sunday ? PieceKind::Level0 : PieceKind::Level1;
        const int sets =
            sunday ? static_cast<int>(rnd_->between(4, 7)) : static_cast<int>(rnd_->between(1, 3));
        for (int s = 0; s < sets; ++s) {
            double gib = sunday ? static_cast<double>(rnd_->between(3000, 14000)) / 1000.0
                                : static_cast<double>(rnd_->between(150, 2500)) / 1000.0;
            t = backupSet(t, level, blocks(gib * db_.sizeScale * kGiB), true);
        }
        t = backupSet(t, PieceKind::ArchiveLog, archiveBytes(), true);
        autobackup(t);
    }

  private:
    DemoTime jobStart(int hour) {
        DemoTime t = day_;
        t.hour = hour;
        return addSeconds(t,
                          db_.startOffsetMinutes * 60 + static_cast<int64_t>(rnd_->between(0, 90)));
    }

    uint64_t archiveBytes() {
        double gib = static_cast<double>(rnd_->between(80, 1600)) / 1000.0;
        return blocks(gib * db_.sizeScale * kGiB);
    }

    // Seconds that `bytes` take at the channel's rate (180-260 MB/s) plus
    // the piece's start-up.
    int64_t duration(uint64_t bytes) {
        uint64_t rate = rnd_->between(180, 260) * 1000 * 1000;
        return static_cast<int64_t>(bytes / rate) + static_cast<int64_t>(rnd_->between(4, 25));
    }

    // One backup set starting at `start`; large sets are cut into pieces of
    // at most 8 GiB (MAXPIECESIZE). Returns when the next job step starts.
    DemoTime backupSet(DemoTime start, PieceKind kind, uint64_t bytes, bool toServer) {
        const uint32_t set = (*nextSet_)++;
        const uint32_t stamp = rmanStamp(start);
        const int pieces = static_cast<int>((bytes + 8 * kGiB - 1) / (8 * kGiB));
        DemoTime t = start;
        for (int p = 1; p <= pieces; ++p) {
            uint64_t pieceBytes = p < pieces ? 8 * kGiB : bytes - 8 * kGiB * (pieces - 1);
            t = addSeconds(t, duration(pieceBytes));
            BackupPiece piece;
            piece.database = db_.name;
            piece.kind = kind;
            piece.completed = t;
            piece.bytes = pieceBytes;
            piece.dayIndex = dayIndex_;
            piece.onServer = toServer;
            piece.handle = toServer ? pieceHandle(db_.style, db_.name, set, p, stamp, kind)
                                    : diskPieceHandle(db_.name, kind, start, rnd_->next());
            out_->push_back(piece);
        }
        return addSeconds(t, static_cast<int64_t>(rnd_->between(2, 9)));
    }

    void autobackup(DemoTime start) {
        (*nextSet_)++;
        BackupPiece piece;
        piece.database = db_.name;
        piece.kind = PieceKind::ControlFile;
        piece.completed = addSeconds(start, static_cast<int64_t>(rnd_->between(3, 12)));
        piece.bytes = blocks(static_cast<double>(rnd_->between(10500, 24000)) / 1000.0 * kMiB);
        piece.dayIndex = dayIndex_;
        piece.handle = autobackupHandle(db_.dbid, day_, autobackups_++);
        out_->push_back(piece);
    }

    void diskBackup() {
        DemoTime t = jobStart(3);
        double gib = static_cast<double>(rnd_->between(200, 2000)) / 1000.0;
        backupSet(t, PieceKind::Level1, blocks(gib * db_.sizeScale * kGiB), false);
    }

    const PlanOptions& options_;
    const DemoDatabase& db_;
    uint32_t* nextSet_;
    PlanRandom* rnd_;
    std::vector<BackupPiece>* out_;
    int dayIndex_ = 0;
    DemoTime day_;
    int autobackups_ = 0;
};

}  // namespace

std::vector<DemoDatabase> agentDatabases() {
    return {
        {"PROD", 2837461950ull, HandleStyle::DbSetPieceStamp, 0, 48112, 1.0},
        {"HRDB", 1093847562ull, HandleStyle::Unique, 20, 9061, 0.35},
        {"FINDB", 3947561028ull, HandleStyle::OraPrefix, 40, 21750, 0.6},
    };
}

std::vector<DemoDatabase> otherNodeDatabases() {
    return {{"DWH", 4102938475ull, HandleStyle::DbSetPieceStamp, 10, 70211, 2.0}};
}

PlanOptions demoPlanOptions(const DemoTime& today, int days) {
    PlanOptions o;
    o.databases = agentDatabases();
    o.firstDay = fromDayNumber(dayNumber(today) - days);
    o.days = days;
    o.scatteredLoss = 0.05;
    o.lostWindowStart = days / 4;
    o.lostWindowDays = days >= 40 ? 9 : days / 5;
    o.diskBackups = true;
    return o;
}

std::vector<BackupPiece> planBackups(const PlanOptions& options) {
    std::vector<BackupPiece> pieces;
    PlanRandom rnd(options.seed);
    std::vector<uint32_t> nextSet;
    for (const DemoDatabase& db : options.databases) nextSet.push_back(db.firstSet);
    for (int day = 0; day < options.days; ++day) {
        for (size_t i = 0; i < options.databases.size(); ++i) {
            DayWriter(options, options.databases[i], &nextSet[i], &rnd, &pieces).writeDay(day);
        }
    }
    // The catalog's losses, decided after the pieces so that the same seed
    // gives the same pieces whatever the loss settings.
    PlanRandom loss(options.seed ^ 0x5eed5eed5eed5eedull);
    const std::string first = options.databases.empty() ? "" : options.databases[0].name;
    // cppcheck-suppress knownEmptyContainer ; the day writers filled it
    for (BackupPiece& p : pieces) {
        if (!p.onServer) continue;
        const bool inWindow = p.database == first && p.dayIndex >= options.lostWindowStart &&
                              p.dayIndex < options.lostWindowStart + options.lostWindowDays;
        const bool scattered = loss.chance(options.scatteredLoss);
        if (inWindow || scattered) p.inCatalog = false;
    }
    return pieces;
}

}  // namespace demo
