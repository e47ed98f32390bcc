#include "ask/SearchHit.h"

#include "LumbroCore/Literals.h"

namespace lumbro {

QString rawValue(SearchHit::Kind kind) {
    switch (kind) {
        case SearchHit::Kind::title:
            return u"title"_s;
        case SearchHit::Kind::transcript:
            return u"transcript"_s;
        case SearchHit::Kind::notes:
            return u"notes"_s;
        case SearchHit::Kind::handoff:
            return u"handoff"_s;
        case SearchHit::Kind::screen:
            return u"screen"_s;
        case SearchHit::Kind::ask:
            return u"ask"_s;
    }
    return {};
}

}  // namespace lumbro
