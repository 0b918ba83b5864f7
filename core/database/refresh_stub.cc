// Placeholder until the exchange-rate and schedule code lands.
#include "core/database/database.h"
namespace vemra {
void DataBase::Refresh() {}
}  // namespace vemra
