// Placeholder so that a layer with no sources yet still forms a library.
