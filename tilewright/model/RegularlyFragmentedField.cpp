#include <tilewright/model/RegularlyFragmentedField.h>

template class Quill::RegularlyFragmentedField<3>;
