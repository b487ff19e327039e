// The note board add-on.
