#include "CodeManagerApp/Model/ManagerModel.h"
#include "ManagerCore/Inventory/Scanner.h"

namespace CodeManagerApp
{

using namespace ManagerCore;

QCoro::Task<> ManagerModel::scan()
{
    setScanning(true);
    std::vector<FoundItem> items = co_await inBackground(&Scanner::scan, identity_);
    setItems(std::move(items));
    keepTicksOfFoundItems();
    change(scanned_, true, &ManagerModel::scannedChanged);
    setScanning(false);
}

} // namespace CodeManagerApp
