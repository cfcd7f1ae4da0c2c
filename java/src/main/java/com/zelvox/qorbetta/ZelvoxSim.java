package com.zelvox.qorbetta;

import java.util.Map;
import java.util.concurrent.ConcurrentHashMap;

/**
 * The simulation object that zelvox.so talks to: it hosts any number of instances by name and hands
 * each to a {@link Model} of its own.
 *
 * <p>A method that answers false or null has left the reason for {@link #getLasterror}. What a
 * model throws when it is terminated or freed is a line on {@link System#err}, since the importer
 * cannot be told. Calls for one instance come one at a time; several libraries may use the object
 * at once, each for its own instances.
 */
public class ZelvoxSim {
    /**
     * One for all: the library asks for the object at every instantiation, while instances live.
     */
    private static final ZelvoxSim SHARED = new ZelvoxSim();

    private final Map<String, Instance> instances = new ConcurrentHashMap<>();
    /** The instance of the last call: a name is compared faster than looked up. */
    private volatile Instance latest;
    private volatile String lastError = "";

    protected ZelvoxSim() {
    }

    /** The simulation object of this class loader. */
    public static ZelvoxSim create() {
        return SHARED;
    }

    /**
     * Accepts every connection; whether there is a model shows at the instantiation, which can say
     * why.
     */
    public boolean doInitConnection() {
        return true;
    }

    /**
     * Begins an instance. A name that is in use is refused while the old instance runs, and while it
     * waits for its experiment: the importer has two instances then. Else the old one, which never
     * came to its initialization or is over, is freed. The importer may have freed it already: when
     * another instance has been freed, the library reaches Java again from the next instantiation on
     * only.
     *
     * @param resourceLocation the URI of the unit's resources; may be empty
     */
    public boolean doInstantiate(String instanceName, String resourceLocation) {
        return done(() -> {
            refuseIfLiving(instances.get(instanceName)); // before a model is made
            Instance instance = Instance.begin(instanceName, resourceLocation);
            Instance over = instance;
            try {
                synchronized (instances) { // of two that begin at once one is refused
                    refuseIfLiving(instances.get(instanceName));
                    over = instances.put(instanceName, instance);
                }
            } finally {
                free(over);
            }
        });
    }

    /** The reason of the latest failure of any instance; empty when there was none. */
    public String getLasterror() {
        return lastError;
    }

    /** One of the three counts of the layout as a decimal text; empty for everything else. */
    public String getProp(String instanceName, String key) {
        Instance instance = known(instanceName);
        if (instance != null) { // asked before each step, for which a map of them is too slow
            switch (key) {
                case "number_of_reals":
                    return instance.numberOfReals;
                case "number_of_inputs":
                    return instance.numberOfInputs;
                case "number_of_outputs":
                    return instance.numberOfOutputs;
                default:
                    break;
            }
        }
        return "";
    }

    /**
     * Sets the times of the run; a new run begins when the instance has been initialized before.
     */
    public boolean doSetupExperiment(String instanceName, double startTime, boolean stopTimeDefined,
            double stopTime) {
        return done(() -> find(instanceName)
                .setUp(startTime, stopTimeDefined ? stopTime : Double.NaN));
    }

    /** Initializes the model with the inputs and parameters that were set so far. */
    public boolean doInitializeModel(String instanceName) {
        return done(() -> find(instanceName).initialize());
    }

    /**
     * Takes a value: an input for the initialization, a parameter for the model at once. Outputs
     * are the model's to say and are ignored. What is wrong with a value fails the instance's next
     * initialization or step, since the importer learns nothing from this call.
     *
     * @throws IllegalStateException when there is no such instance
     */
    public void setReal(String instanceName, int valueReference, double value) {
        find(instanceName).set(valueReference, value);
    }

    /** Ends the run. */
    public void doTerminate(String instanceName) {
        done(() -> find(instanceName).terminate());
    }

    /** Frees the model and forgets the instance, if there is one of that name. */
    public void doFreeInstance(String instanceName) {
        free(instances.remove(instanceName));
    }

    /**
     * Frees all instances of this class loader: those that importers left behind, whose names are
     * in use else. To be called while no importer steps one.
     *
     * @return how many there were
     */
    public static int forgetInstances() {
        int forgotten = 0;
        for (String name : SHARED.instances.keySet()) {
            Instance instance = SHARED.instances.remove(name);
            SHARED.free(instance);
            forgotten += instance == null ? 0 : 1;
        }
        return forgotten;
    }

    /**
     * The instance's values: outputs, the same again, inputs and parameters until it has made a
     * step, the outputs alone from then on. Before the initialization the outputs are what it would
     * give with the inputs and parameters that were set so far.
     *
     * @return an array of the instance, to be read before its next call; null for an unknown
     * instance
     */
    public double[] getData(String instanceName) {
        try {
            return find(instanceName).data();
        } catch (RuntimeException e) {
            failed(e);
            return null;
        }
    }

    /** Advances the model by one step, with inputs that are constant during it. */
    public boolean doStepModel(String instanceName, double time, double stepSize, double[] inputs) {
        return done(() -> find(instanceName).step(time, stepSize, inputs));
    }

    private Instance known(String instanceName) {
        Instance instance = latest;
        if (instance == null || !instance.name.equals(instanceName)) {
            instance = instances.get(instanceName);
            latest = instance;
        }
        return instance;
    }

    private Instance find(String instanceName) {
        Instance instance = known(instanceName);
        if (instance == null) {
            throw new IllegalStateException("there is no instance '" + instanceName
                    + "', expected one that was instantiated and not freed");
        }
        return instance;
    }

    /** Frees an instance that is not among those in use any more, if it is one. */
    private void free(Instance instance) {
        latest = null;
        if (instance != null) {
            instance.free();
        }
    }

    private static void refuseIfLiving(Instance instance) {
        if (instance != null && (instance.isRunning() || !instance.hasBegun())) {
            throw new IllegalStateException("there is an instance '" + instance.name + "' already that "
                    + (instance.isRunning() ? "is running: give each instance a name of its own, or"
                    + " terminate that one first; what an interrupted run has left behind in Python,"
                    + " zelvox.forget_instances() frees"
                    : "has not begun: give each instance a name of its own"));
        }
    }

    /** Does what the library asks for, or keeps the reason why not. */
    private boolean done(Runnable call) {
        try {
            call.run();
            return true;
        } catch (RuntimeException e) {
            return failed(e);
        }
    }

    private boolean failed(RuntimeException e) {
        lastError = Reason.of(e);
        return false;
    }
}
