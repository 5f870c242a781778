"""Many crystals: what the workflow of torvik-tools batch is made of."""
