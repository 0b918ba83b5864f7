#include "collections/book.h"

namespace vemra {

Book::Book()
    : currencies_(this), accounts_(this), categories_(this), transactions_(this), splits_(this) {
  transactions_.DefaultDate = TodayADate();
  transactions_.DefaultCleared = 1;
}

}  // namespace vemra
