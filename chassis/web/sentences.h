// Events as a reader of the page or the report sees them.
#ifndef CHASSIS_WEB_SENTENCES_H
#define CHASSIS_WEB_SENTENCES_H

#include "events/event.h"

#include <string>

namespace chassis {

// One line, without time and slot.
std::string sentence_of(const Event &event);

// How it is marked: "good", "bad", "warn" or "plain".
const char *mark_of(const Event &event);

} // namespace chassis

#endif
