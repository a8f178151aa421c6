#pragma once

#include <ORXAccount/ORVAAccountAPI.h>

#include "service/XMLTasks.h"

namespace orx {

struct ORVAAccountAPI::Tasks {
  Tasks();

  XMLTaskList list;
};

}  // namespace orx
