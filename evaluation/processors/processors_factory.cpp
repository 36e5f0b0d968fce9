#include "evaluation/processors/processors_factory.h"

#include "platform/singleton_instance.h"

namespace Shared
{
template class Singleton<CommonNOX::Evaluation::Processors::ProcessorsFactory>;
}
